// Little CMS returning no transform, allocation failures, a powf that is not monotonic. This
// program is linked with replacements of those functions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lcms2.h>

#include <cmath>
#include <cstdlib>
#include <set>

#include "pipeline/legacy_gamma.h"
#include "pipeline/tone_plan.h"
#include "tests/pipeline_adjust/icc_page.h"
#include "tests/pipeline_adjust/profiles.h"
#include "tests/support/plain_formulas.h"

namespace {

// Each counts its function's calls; the calls whose numbers (from 1) are listed fail.
struct Replacement {
  int calls = 0;
  std::set<int> failing;

  bool fails() { return failing.contains(++calls); }
  void fail_from_now(std::set<int> numbers) {
    calls = 0;
    failing = std::move(numbers);
  }
};

Replacement srgb_profile;
Replacement create_transform;
Replacement large_malloc;  // counts requests of 100 bytes and more
std::size_t transformed_pixels = 0;
// For bases in this range powf returns less than it should.
float powf_dips_from = 1.0f;
float powf_dips_to = 0.0f;

}  // namespace

extern "C" {
cmsHPROFILE __real_cmsCreate_sRGBProfile();
cmsHTRANSFORM __real_cmsCreateTransform(cmsHPROFILE, cmsUInt32Number, cmsHPROFILE, cmsUInt32Number,
                                        cmsUInt32Number, cmsUInt32Number);
void __real_cmsDoTransform(cmsHTRANSFORM, const void*, void*, cmsUInt32Number);
void* __real_malloc(std::size_t);
float __real_powf(float, float);

cmsHPROFILE __wrap_cmsCreate_sRGBProfile() {
  return srgb_profile.fails() ? nullptr : __real_cmsCreate_sRGBProfile();
}

cmsHTRANSFORM __wrap_cmsCreateTransform(cmsHPROFILE source, cmsUInt32Number in, cmsHPROFILE target,
                                        cmsUInt32Number out, cmsUInt32Number intent,
                                        cmsUInt32Number flags) {
  return create_transform.fails()
             ? nullptr
             : __real_cmsCreateTransform(source, in, target, out, intent, flags);
}

void __wrap_cmsDoTransform(cmsHTRANSFORM transform, const void* in, void* out,
                           cmsUInt32Number pixels) {
  transformed_pixels += pixels;
  __real_cmsDoTransform(transform, in, out, pixels);
}

void* __wrap_malloc(std::size_t size) {
  return size >= 100 && large_malloc.fails() ? nullptr : __real_malloc(size);
}

float __wrap_powf(float base, float exponent) {
  const float result = __real_powf(base, exponent);
  return base >= powf_dips_from && base <= powf_dips_to ? 0.98f * result : result;
}
}

namespace {

using testing::HasSubstr;
using testing::Not;

constexpr char kFailed[] = "K905-1: WARNING: ICC conversion failed, using original colors\n";

class AdjustFaults : public testing::Test {
 protected:
  AdjustFaults() { reset(); }
  ~AdjustFaults() override { reset(); }

  static void reset() {
    srgb_profile = {};
    create_transform = {};
    large_malloc = {};
    transformed_pixels = 0;
    powf_dips_from = 1.0f;
    powf_dips_to = 0.0f;
  }

  ProfileFolder profiles_;
};

TEST_F(AdjustFaults, MissingBuiltInProfileEndsTheConversion) {
  const Page page = noise_page(4, 4, 1);
  for (const int call : {1, 2}) {
    srgb_profile.fail_from_now({call});
    const Result result = convert_page(icc_options("/nowhere/s.icc", "/nowhere/t.icc"), page);
    EXPECT_EQ(result.rgb, page.rgb);
    const char* const ends[] = {
        "K905-1: Loading source profile: /nowhere/s.icc\n"
        "K905-1: WARNING: Source profile not found, using sRGB\n"
        "K905-1: ERROR: Failed to create source profile\n",
        "K905-1: Loading target profile: /nowhere/t.icc\n"
        "K905-1: WARNING: Target profile not found, using sRGB\n"
        "K905-1: ERROR: Failed to create target profile\n"};
    EXPECT_TRUE(result.log.ends_with(std::string(ends[call - 1]) + kFailed)) << result.log;
  }
}

TEST_F(AdjustFaults, TransformThatFailsOnceIsTriedOnPureRed) {
  const std::string target = profiles_.cmyk_table("press.icc");
  const auto red = converted_directly("", target, TYPE_CMYK_8, 0, {255, 0, 0});
  create_transform.fail_from_now({1});
  const Page page = noise_page(4, 4, 3);
  const Result result = convert_page(icc_options("", target), page);
  EXPECT_EQ(result.rgb, page.rgb) << "the second attempt is only for the log";
  EXPECT_TRUE(result.log.ends_with(
      "K905-1: Setting up RGB->CMYK transform\n"
      "K905-1: ERROR: Failed to create ICC transform\n"
      "K905-1: Testing with simple color...\n"
      "K905-1: Test transform works: Red -> [" +
      std::to_string(red[0]) + "," + std::to_string(red[1]) + "," + std::to_string(red[2]) +
      "]\n"
      "K905-1: Target profile closed\nK905-1: Source profile closed\n" +
      kFailed))
      << result.log;
}

TEST_F(AdjustFaults, TestConversionOfPureRedStartsFromZeroedBytes) {
  const std::string target = profiles_.gray("gray.icc");
  const auto red = converted_directly("", target, TYPE_GRAY_8, 0, {255, 0, 0});
  create_transform.fail_from_now({1});
  const Result result = convert_page(icc_options("", target), noise_page(4, 4, 4));
  EXPECT_THAT(result.log, HasSubstr("K905-1: Test transform works: Red -> [" +
                                    std::to_string(red[0]) + ",0,0]\n"));
}

TEST_F(AdjustFaults, TransformThatFailsTwiceIsLogged) {
  const std::string target = profiles_.rgb_table("printer.icc");
  create_transform.fail_from_now({1, 2});
  const Page page = noise_page(4, 4, 5);
  const Result result = convert_page(icc_options("", target), page);
  EXPECT_EQ(result.rgb, page.rgb);
  EXPECT_THAT(result.log, HasSubstr("K905-1: Testing with simple color...\n"
                                    "K905-1: Target profile closed\n"));
}

TEST_F(AdjustFaults, PageAfterAFailedTransformTriesAgain) {
  const std::string target = profiles_.rgb_table("printer.icc");
  const Page page = noise_page(4, 4, 6);
  const PrintOptions options = icc_options("", target);
  const Result good = convert_page(options, page);
  IccTransform icc;
  create_transform.fail_from_now({1, 2});
  EXPECT_EQ(convert_page(options, page, &icc).rgb, page.rgb);
  const Result second = convert_page(options, page, &icc);
  EXPECT_EQ(second.rgb, good.rgb);
  EXPECT_EQ(second.log, good.log);
}

TEST_F(AdjustFaults, MissingBuffersLeaveTheColorsUnchangedAndAreLogged) {
  const std::string target = profiles_.rgb_table("printer.icc");
  const PrintOptions options = icc_options("", target);
  const Page page = noise_page(100, 400, 7);
  const Result good = convert_page(options, page);
  IccTransform icc;
  large_malloc.fail_from_now({2});  // the first is for the colors
  const Result result = convert_page(options, page, &icc);
  EXPECT_EQ(result.rgb, page.rgb);
  EXPECT_THAT(result.log, HasSubstr("K905-1: Testing transform with sample colors:\n"));
  EXPECT_THAT(result.log, Not(HasSubstr("K905-1: Preparing input data...")));
  EXPECT_TRUE(result.log.ends_with(std::string("K905-1: ERROR: Failed to allocate conversion "
                                               "buffers\n"
                                               "K905-1: Transform deleted\n"
                                               "K905-1: Target profile closed\n"
                                               "K905-1: Source profile closed\n") +
                                   kFailed))
      << result.log;
  EXPECT_EQ(large_malloc.calls, 2);

  const Result next = convert_page(options, page, &icc);
  EXPECT_EQ(next.rgb, good.rgb);
  EXPECT_EQ(next.log, good.log);
}

TEST_F(AdjustFaults, WithoutMemoryForTheCacheEveryColorIsConverted) {
  const std::string target = profiles_.rgb_table("printer.icc");
  const PrintOptions options = icc_options("", target);
  const Page page = plain_page(700, 5, 20, 40, 60);
  const Result good = convert_page(options, page);
  large_malloc.fail_from_now({1});
  transformed_pixels = 0;
  const Result result = convert_page(options, page);
  EXPECT_EQ(result.rgb, good.rgb);
  EXPECT_EQ(result.log, good.log);
  EXPECT_EQ(transformed_pixels, 3500u + 4u + 1u);  // samples, first pixel
}

TEST_F(AdjustFaults, KeptTransformIsMadeOnce) {
  const PrintOptions options =
      icc_options(profiles_.rgb_matrix("wide.icc"), profiles_.rgb_table("printer.icc"));
  IccTransform icc;
  for (unsigned number = 0; number < 4; ++number) {
    convert_page(options, photo_page(20, 20, number), &icc);
  }
  EXPECT_EQ(create_transform.calls, 1);
}

TEST_F(AdjustFaults, DisabledConversionOpensNoProfile) {
  PrintOptions options = icc_options("", profiles_.rgb_table("printer.icc"));
  options.icc_profile_name[0] = '\0';
  convert_page(options, noise_page(9, 9, 9));
  EXPECT_EQ(srgb_profile.calls + create_transform.calls, 0);
  EXPECT_EQ(transformed_pixels, 0u);
}

// If powf is not monotonic, the plan must be the plain chain.
void expect_plain_chain() {
  PrintOptions options{.paper_config = nullptr};
  options.legacy_gamma = 1;
  options.saturation = 300;
  float steps[256];
  EXPECT_FALSE(fill_legacy_steps(steps));
  TonePlan plan;
  plan.prepare(options);
  const Page page = noise_page(2000, 1, 11);
  const plain::ToneChain formula = plain::tone_chain_of(options);
  for (std::size_t x = 0; x < page.width; ++x) {
    plain::Pixel planned = {page.rgb[3 * x], page.rgb[3 * x + 1], page.rgb[3 * x + 2]};
    const plain::Pixel expected = formula(planned);
    plan.apply(&planned[0], &planned[1], &planned[2], 1);
    EXPECT_EQ(planned, expected);
  }
}

TEST_F(AdjustFaults, StepsOfAPowfThatIsNotMonotonicAreNotUsed) {
  float steps[256];
  ASSERT_TRUE(fill_legacy_steps(steps));
  powf_dips_from = powf_dips_to = std::nextafter(steps[100], 255.0f) / 255.0f;
  expect_plain_chain();
  powf_dips_from = 0.1f;
  powf_dips_to = 0.5f;
  expect_plain_chain();
}

}  // namespace
