// The ICC conversion: every byte equals the result of a direct call of Little CMS, every line of
// the log is checked, and every kind of invalid profile is tried.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lcms2.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <filesystem>
#include <set>

#include "tests/pipeline_adjust/icc_page.h"
#include "tests/pipeline_adjust/profiles.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

// ---- What the tests expect

[[gnu::format(printf, 1, 2)]] std::string line(const char* format, ...) {
  char text[2048];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return std::string(text) + "\n";
}

// The Greek capital delta in UTF-8, byte by byte.
constexpr char kDelta[] = "\xCE\x94";

std::vector<std::uint8_t> inverted_cmy(const std::vector<std::uint8_t>& cmyk) {
  std::vector<std::uint8_t> rgb;
  for (std::size_t i = 0; i < cmyk.size(); i += 4) {
    for (std::size_t c = 0; c < 3; ++c) rgb.push_back(static_cast<std::uint8_t>(255 - cmyk[i + c]));
  }
  return rgb;
}

std::vector<std::uint8_t> tripled(const std::vector<std::uint8_t>& gray) {
  std::vector<std::uint8_t> rgb;
  for (const std::uint8_t value : gray) rgb.insert(rgb.end(), {value, value, value});
  return rgb;
}

std::string pixel_text(const std::vector<std::uint8_t>& rgb, std::size_t index) {
  const std::uint8_t* p = rgb.data() + 3 * index;
  return "R=" + std::to_string(p[0]) + ", G=" + std::to_string(p[1]) +
         ", B=" + std::to_string(p[2]);
}

// The lines up to the profiles.
std::string start_of_log(const PrintOptions& options, const Page& page) {
  const std::size_t center = page.width * page.height / 2;
  return "K905-1: Before ICC - Pixel[0]: " + pixel_text(page.rgb, 0) + "\n" +
         "K905-1: Before ICC - Pixel[center]: " + pixel_text(page.rgb, center) + "\n" +
         "K905-1: ===== STARTING ICC CONVERSION =====\n" +
         "K905-1: Source profile: " + options.color_base_profile_path + "\n" +
         "K905-1: Target profile: " + options.icc_profile_path + "\n" +
         line("K905-1: Image size: %dx%d", static_cast<int>(page.width),
              static_cast<int>(page.height)) +
         "K905-1: Rendering intent: " + options.icc_intent + "\n" +
         "K905-1: Color base: " + options.color_base + "\n" +
         "K905-1: Before conversion center pixel: " + pixel_text(page.rgb, center) + "\n";
}

std::string loading(const PrintOptions& options, const std::string& source_warning = "",
                    const std::string& target_warning = "") {
  return std::string("K905-1: Loading source profile: ") + options.color_base_profile_path + "\n" +
         source_warning + "K905-1: Loading target profile: " + options.icc_profile_path + "\n" +
         target_warning;
}

std::string end_of_log(const std::vector<std::uint8_t>& before,
                       const std::vector<std::uint8_t>& after, std::size_t center,
                       const std::string& no_change = "") {
  const std::uint8_t* b = before.data() + 3 * center;
  const std::uint8_t* a = after.data() + 3 * center;
  return "K905-1: After conversion center pixel: " + pixel_text(after, center) + "\n" +
         line("K905-1: Change: %sR=%+3d, %sG=%+3d, %sB=%+3d", kDelta, a[0] - b[0], kDelta,
              a[1] - b[1], kDelta, a[2] - b[2]) +
         no_change +
         "K905-1: ICC color conversion completed\n"
         "K905-1: ===== END ICC CONVERSION =====\n"
         "K905-1: Transform deleted\n"
         "K905-1: Target profile closed\n"
         "K905-1: Source profile closed\n"
         "K905-1: After ICC - Pixel[0]: " +
         pixel_text(after, 0) +
         "\nK905-1: After ICC - Pixel[center]: " + pixel_text(after, center) + "\n";
}

const std::vector<std::uint8_t> kSampleRgb = {255, 0, 0, 0, 255, 0, 0, 0, 255, 255, 255, 0};
constexpr const char* kSampleNames[] = {"Red", "Green", "Blue", "Yellow"};

std::string rgb_samples(const std::string& source, const std::string& target,
                        cmsUInt32Number intent) {
  const auto out = converted_directly(source, target, TYPE_RGB_8, intent, kSampleRgb);
  std::string text;
  for (std::size_t i = 0; i < 4; ++i) {
    const std::uint8_t* a = kSampleRgb.data() + 3 * i;
    const std::uint8_t* b = out.data() + 3 * i;
    text += line("  %s: [%3d,%3d,%3d] -> [%3d,%3d,%3d] (%sR=%+3d, %sG=%+3d, %sB=%+3d)",
                 kSampleNames[i], a[0], a[1], a[2], b[0], b[1], b[2], kDelta, b[0] - a[0], kDelta,
                 b[1] - a[1], kDelta, b[2] - a[2]);
  }
  return text;
}

constexpr char kFailed[] = "K905-1: WARNING: ICC conversion failed, using original colors\n";
constexpr char kClosed[] = "K905-1: Target profile closed\nK905-1: Source profile closed\n";

// The log of a page that is converted to a target in `space`.
std::string log_of_conversion(const PrintOptions& options, const Page& page, const char* space,
                              const char* intent, const std::string& samples,
                              const std::string& output,
                              const std::vector<std::uint8_t>& converted) {
  return start_of_log(options, page) + loading(options) + "K905-1: Source color space: RGB\n" +
         line("K905-1: Target color space: %s", space) + line("K905-1: Using %s", intent) +
         line("K905-1: Creating transform: RGB -> %s", space) +
         line("K905-1: Setting up RGB->%s transform", space) +
         "K905-1: ICC transform created successfully\n"
         "K905-1: Testing transform with sample colors:\n" +
         samples +
         "K905-1: Preparing input data...\n"
         "K905-1: First pixel in input buffer: " +
         pixel_text(page.rgb, 0) +
         "\nK905-1: Performing bulk color conversion...\n"
         "K905-1: Bulk conversion completed\n"
         "K905-1: First pixel in output buffer: " +
         output + end_of_log(page.rgb, converted, page.width * page.height / 2);
}

class Icc : public testing::Test {
 protected:
  ProfileFolder profiles_;
};

// ---- Whole logs

TEST_F(Icc, EnabledWithoutAProfileNameLeavesThePlanes) {
  PrintOptions options = icc_options("", profiles_.rgb_matrix("a.icc"));
  options.icc_profile_name[0] = '\0';
  const Page page = noise_page(5, 4, 1);
  const Result result = convert_page(options, page);
  EXPECT_EQ(result.rgb, page.rgb);
  EXPECT_EQ(result.log, "K905-1: Before ICC - Pixel[0]: " + pixel_text(page.rgb, 0) +
                            "\nK905-1: Before ICC - Pixel[center]: " + pixel_text(page.rgb, 10) +
                            "\nK905-1: ICC conversion not enabled or no profile specified\n");
}

TEST_F(Icc, RgbTargetGivesTheBytesOfLittleCms) {
  const std::string source = profiles_.rgb_matrix("wide.icc");
  const std::string target = profiles_.rgb_table("printer.icc");
  const PrintOptions options = icc_options(source, target, "Relative");
  const Page page = photo_page(40, 31, 3);
  const auto expected = converted_directly(source, target, TYPE_RGB_8, 1, page.rgb);
  ASSERT_NE(expected, page.rgb);
  const Result result = convert_page(options, page);
  EXPECT_EQ(result.rgb, expected);
  EXPECT_EQ(result.log, log_of_conversion(options, page, "RGB", "Relative Colorimetric intent",
                                          rgb_samples(source, target, 1),
                                          pixel_text(expected, 0) +
                                              "\nK905-1: Processing converted data...\n"
                                              "K905-1: Copied RGB data back to channels\n",
                                          expected));
}

TEST_F(Icc, CmykTargetGivesTheInkBytesInvertedWithoutBlack) {
  const std::string source = profiles_.rgb_matrix("wide.icc");
  const std::string target = profiles_.cmyk_table("press.icc");
  const PrintOptions options = icc_options(source, target);
  const Page page = noise_page(9, 7, 4);
  const auto cmyk = converted_directly(source, target, TYPE_CMYK_8, 0, page.rgb);
  const auto expected = inverted_cmy(cmyk);
  const auto samples = converted_directly(source, target, TYPE_CMYK_8, 0, kSampleRgb);
  std::string sample_lines;
  for (std::size_t i = 0; i < 4; ++i) {
    const std::uint8_t* a = kSampleRgb.data() + 3 * i;
    const std::uint8_t* b = samples.data() + 4 * i;
    sample_lines += line("  %s: RGB[%3d,%3d,%3d] -> CMYK[%3d,%3d,%3d,%3d]", kSampleNames[i], a[0],
                         a[1], a[2], b[0], b[1], b[2], b[3]);
  }
  const Result result = convert_page(options, page);
  EXPECT_EQ(result.rgb, expected);
  EXPECT_EQ(result.log,
            log_of_conversion(options, page, "CMYK", "Perceptual intent (default)", sample_lines,
                              line("C=%d, M=%d, Y=%d, K=%d", cmyk[0], cmyk[1], cmyk[2], cmyk[3]) +
                                  "K905-1: Processing converted data...\n"
                                  "K905-1: Converting CMYK to CMY for printer\n",
                              expected));
}

TEST_F(Icc, GrayTargetFillsAllPlanesAndLeavesItsLogLineOpen) {
  const std::string source = profiles_.rgb_matrix("wide.icc");
  const std::string target = profiles_.gray("gray.icc");
  const PrintOptions options = icc_options(source, target, "Saturation");
  const Page page = noise_page(6, 6, 5);
  const auto expected = tripled(converted_directly(source, target, TYPE_GRAY_8, 2, page.rgb));
  const Result result = convert_page(options, page);
  EXPECT_EQ(result.rgb, expected);
  EXPECT_EQ(result.log, log_of_conversion(options, page, "Gray", "Saturation intent", "",
                                          "K905-1: Processing converted data...\n", expected));
}

TEST_F(Icc, EmptyImageIsLoggedAsZeros) {
  const PrintOptions options = icc_options("", profiles_.rgb_matrix("wide.icc"));
  const Result result = convert_page(options, Page{7, 0, {}});
  for (const char* expected :
       {"K905-1: Before ICC - Pixel[0]: R=0, G=0, B=0\n",
        "K905-1: Before ICC - Pixel[center]: R=0, G=0, B=0\n", "K905-1: Image size: 7x0\n",
        "K905-1: First pixel in input buffer: R=0, G=0, B=0\n",
        "K905-1: First pixel in output buffer: R=0, G=0, B=0\n",
        "K905-1: After conversion center pixel: R=0, G=0, B=0\n",
        "K905-1: WARNING: No change detected in center pixel!\n",
        "K905-1: Changed pixels in sample: 0\n",
        "K905-1: After ICC - Pixel[center]: R=0, G=0, B=0\n"}) {
    EXPECT_THAT(result.log, HasSubstr(expected));
  }
}

// ---- First and center pixel, samples

TEST_F(Icc, CenterOfAnEvenImageIsTheFirstPixelOfItsLowerHalf) {
  Page page = plain_page(4, 2, 10, 10, 10);
  set_pixel(page, 4, 1, 2, 3);  // 8 / 2
  const Result result = convert_page(icc_options("", profiles_.rgb_table("printer.icc")), page);
  EXPECT_THAT(result.log, HasSubstr("K905-1: Before ICC - Pixel[center]: R=1, G=2, B=3\n"));
}

TEST_F(Icc, UnchangedCenterPixelIsReportedWithACountOfOtherSamples) {
  // With the built-in sRGB as source and target no color changes, so every sample that differs from
  // the center is counted, whether or not the conversion changed it.
  Page page = plain_page(7, 500, 40, 50, 60);  // 3500 pixels: indices 0, 1000, 2000, 3000
  set_pixel(page, 0, 41, 50, 60);
  set_pixel(page, 999, 1, 1, 1);  // beside a sample
  set_pixel(page, 2000, 40, 51, 60);
  set_pixel(page, 3000, 40, 50, 61);
  set_pixel(page, 3001, 1, 1, 1);
  const Result result = convert_page(icc_options("", ""), page);
  EXPECT_EQ(result.rgb, page.rgb);
  EXPECT_THAT(result.log,
              HasSubstr(line("K905-1: Change: %sR= +0, %sG= +0, %sB= +0", kDelta, kDelta, kDelta) +
                        "K905-1: WARNING: No change detected in center pixel!\n"
                        "K905-1: Changed pixels in sample: 3\n"
                        "K905-1: ICC color conversion completed\n"));
}

TEST_F(Icc, SamplesAreTakenAfterTheConversion) {
  // Black stays black in a matrix profile, mid gray does not: all of the page is gray but its
  // center.
  const std::string target = profiles_.rgb_matrix("dark.icc", 1.2);
  Page page = plain_page(100, 40, 90, 90, 90);
  set_pixel(page, 2000, 0, 0, 0);
  const auto expected = converted_directly("", target, TYPE_RGB_8, 0, page.rgb);
  ASSERT_EQ(expected[6000] + expected[6001] + expected[6002], 0);
  ASSERT_NE(expected[0], 90);
  const Result result = convert_page(icc_options("", target), page);
  EXPECT_EQ(result.rgb, expected);
  EXPECT_THAT(result.log, HasSubstr("K905-1: Changed pixels in sample: 3\n"));
}

// ---- Intents

TEST_F(Icc, IntentsAreChosenByTheirExactText) {
  struct Case {
    const char* text;
    cmsUInt32Number number;
    const char* line;
  };
  constexpr Case kCases[] = {
      {"Perceptual", 0, "K905-1: Using Perceptual intent (default)\n"},
      {"Relative", 1, "K905-1: Using Relative Colorimetric intent\n"},
      {"Saturation", 2, "K905-1: Using Saturation intent\n"},
      {"Absolute", 3, "K905-1: Using Absolute Colorimetric intent\n"},
      {"relative", 0, "K905-1: Using Perceptual intent (default)\n"},
      {"Relative ", 0, "K905-1: Using Perceptual intent (default)\n"},
      {"", 0, "K905-1: Using Perceptual intent (default)\n"},
  };
  const std::string target = profiles_.rgb_table("printer.icc");
  const Page page = noise_page(20, 20, 8);
  std::set<std::vector<std::uint8_t>> different;
  for (const Case& intent : kCases) {
    const Result result = convert_page(icc_options("", target, intent.text), page);
    EXPECT_EQ(result.rgb, converted_directly("", target, TYPE_RGB_8, intent.number, page.rgb))
        << intent.text;
    EXPECT_THAT(result.log, HasSubstr(intent.line));
    EXPECT_THAT(result.log, HasSubstr(line("K905-1: Rendering intent: %s", intent.text)));
    different.insert(result.rgb);
  }
  EXPECT_EQ(different.size(), 4u) << "the profile does not tell the intents apart";
}

// ---- Color spaces

TEST_F(Icc, UnsupportedPairOfColorSpacesIsLoggedAndLeavesThePlanes) {
  const std::string rgb = profiles_.rgb_matrix("wide.icc");
  // A profile can contain any four bytes; the enumeration of color spaces cannot represent these.
  std::string bytes = wide_rgb_profile();
  bytes.replace(16, 4, "\xFF\xFE\xFD\xFC");
  const std::string strange = profiles_.file("strange.icc", bytes);
  const struct {
    std::string source;
    std::string target;
    const char* source_name;
    const char* target_name;
  } pairs[] = {
      {profiles_.lab("lab.icc"), rgb, "Lab", "RGB"},
      {profiles_.gray("gray.icc"), rgb, "Gray", "RGB"},
      {profiles_.cmyk_table("press.icc"), rgb, "CMYK", "RGB"},
      {strange, rgb, "Unknown", "RGB"},
      {profiles_.hollow("cmy.icc", cmsSigCmyData), rgb, "Unknown", "RGB"},
      {rgb, profiles_.path("lab.icc"), "RGB", "Lab"},
      {rgb, strange, "RGB", "Unknown"},
      {rgb, profiles_.hollow("xyz.icc", cmsSigXYZData), "RGB", "XYZ"},
      {rgb, profiles_.hollow("luv.icc", cmsSigLuvData), "RGB", "Luv"},
      {rgb, profiles_.hollow("ycbcr.icc", cmsSigYCbCrData), "RGB", "YCbCr"},
      {rgb, profiles_.hollow("yxy.icc", cmsSigYxyData), "RGB", "Yxy"},
      {rgb, profiles_.hollow("hsv.icc", cmsSigHsvData), "RGB", "Unknown"},
  };
  const Page page = noise_page(6, 5, 9);
  for (const auto& [source, target, source_name, target_name] : pairs) {
    const PrintOptions options = icc_options(source, target);
    const Result result = convert_page(options, page);
    EXPECT_EQ(result.rgb, page.rgb);
    EXPECT_EQ(result.log,
              start_of_log(options, page) + loading(options) +
                  line("K905-1: Source color space: %s", source_name) +
                  line("K905-1: Target color space: %s", target_name) +
                  "K905-1: Using Perceptual intent (default)\n" +
                  line("K905-1: Creating transform: %s -> %s", source_name, target_name) +
                  "K905-1: ERROR: Unsupported color space conversion\n" +
                  line("K905-1: Source: %s, Target: %s", source_name, target_name) + kClosed +
                  kFailed);
  }
}

TEST_F(Icc, ProfileWithoutATransformIsTriedOnceMore) {
  const PrintOptions options =
      icc_options(profiles_.rgb_matrix("wide.icc"), profiles_.hollow("empty.icc", cmsSigCmykData));
  const Page page = noise_page(4, 4, 10);
  const Result result = convert_page(options, page);
  EXPECT_EQ(result.rgb, page.rgb);
  EXPECT_EQ(result.log, start_of_log(options, page) + loading(options) +
                            "K905-1: Source color space: RGB\n"
                            "K905-1: Target color space: CMYK\n"
                            "K905-1: Using Perceptual intent (default)\n"
                            "K905-1: Creating transform: RGB -> CMYK\n"
                            "K905-1: Setting up RGB->CMYK transform\n"
                            "K905-1: ERROR: Failed to create ICC transform\n"
                            "K905-1: Testing with simple color...\n" +
                            kClosed + kFailed);
}

// ---- Files that are not profiles

constexpr char kSourceMissing[] = "K905-1: WARNING: Source profile not found, using sRGB\n";
constexpr char kTargetMissing[] = "K905-1: WARNING: Target profile not found, using sRGB\n";
constexpr char kSourceUnusable[] = "K905-1: WARNING: Cannot open source profile, using sRGB\n";
constexpr char kTargetUnusable[] = "K905-1: WARNING: Cannot open target profile, using sRGB\n";

class BadFile : public Icc {
 protected:
  // `path` once as source and once as target: the built-in sRGB is used instead.
  void expect_srgb_instead_of(const std::string& path, const char* as_source,
                              const char* as_target) {
    const std::string printer = profiles_.rgb_table("good_printer.icc");
    const std::string wide = profiles_.rgb_matrix("good_wide.icc");
    const Page page = noise_page(12, 10, 11);

    PrintOptions options = icc_options(path, printer);
    Result result = convert_page(options, page);
    EXPECT_EQ(result.rgb, converted_directly("", printer, TYPE_RGB_8, 0, page.rgb));
    EXPECT_THAT(result.log,
                HasSubstr(loading(options, as_source) + "K905-1: Source color space: RGB\n"));
    EXPECT_THAT(result.log, HasSubstr("K905-1: ICC color conversion completed\n"));

    options = icc_options(wide, path);
    result = convert_page(options, page);
    EXPECT_EQ(result.rgb, converted_directly(wide, "", TYPE_RGB_8, 0, page.rgb));
    EXPECT_THAT(result.log,
                HasSubstr(loading(options, "", as_target) + "K905-1: Source color space: RGB\n"
                                                            "K905-1: Target color space: RGB\n"));
  }
};

TEST_F(BadFile, MissingFileIsReplacedBySrgb) {
  const std::string link = profiles_.path("link.icc");
  ASSERT_EQ(symlink("/nowhere/at/all", link.c_str()), 0);
  for (const std::string& path : {profiles_.path("nowhere.icc"), std::string(), link}) {
    expect_srgb_instead_of(path, kSourceMissing, kTargetMissing);
  }
}

TEST_F(BadFile, UnusableFileIsReplacedBySrgbAndNotWaitedFor) {
  std::string garbage;
  for (const std::uint8_t byte : noise_page(100, 20, 12).rgb) garbage += static_cast<char>(byte);
  ASSERT_EQ(mkdir(profiles_.path("folder.icc").c_str(), 0755), 0);
  ASSERT_EQ(mkfifo(profiles_.path("fifo.icc").c_str(), 0644), 0);
  for (const std::string& path :
       {profiles_.file("empty.icc", ""), profiles_.file("garbage.icc", garbage),
        profiles_.file("cut.icc", wide_rgb_profile().substr(0, 100)), profiles_.path("folder.icc"),
        profiles_.path("fifo.icc"), std::string("/dev/null")}) {
    expect_srgb_instead_of(path, kSourceUnusable, kTargetUnusable);
  }
}

// Root may read every file: a test that runs as root continues as the owner of this folder.
class OrdinaryUser {
 public:
  explicit OrdinaryUser(const std::string& folder) {
    constexpr uid_t kNobody = 65534;
    if (was_root_) {
      EXPECT_EQ(chown(folder.c_str(), kNobody, static_cast<gid_t>(-1)), 0);
      EXPECT_EQ(seteuid(kNobody), 0);
    }
  }
  ~OrdinaryUser() {
    if (was_root_) {
      EXPECT_EQ(seteuid(0), 0);
    }
  }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;

 private:
  bool was_root_ = geteuid() == 0;
};

TEST_F(BadFile, Unreadable) {
  const OrdinaryUser user(profiles_.path(""));
  const std::string path = profiles_.rgb_matrix("locked.icc");
  ASSERT_EQ(chmod(path.c_str(), 0), 0);
  expect_srgb_instead_of(path, kSourceUnusable, kTargetUnusable);
}

TEST_F(Icc, ProfileCutAnywhereStillGivesAPage) {
  const std::string bytes = rgb_table_profile();
  const Page page = noise_page(6, 6, 13);
  for (std::size_t length = 0; length < bytes.size(); length += 1 + length / 3) {
    const std::string path = profiles_.file("cut.icc", bytes.substr(0, length));
    const Result result = convert_page(icc_options("", path), page);
    if (result.log.ends_with(kFailed)) {
      EXPECT_EQ(result.rgb, page.rgb) << length;
    } else {
      EXPECT_THAT(result.log, HasSubstr("K905-1: ICC color conversion completed\n")) << length;
    }
  }
}

TEST_F(Icc, LinkToAProfileIsFollowed) {
  const std::string target = profiles_.rgb_table("printer.icc");
  const std::string link = profiles_.path("link.icc");
  ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0);
  const Page page = noise_page(9, 9, 14);
  EXPECT_EQ(convert_page(icc_options("", link), page).rgb,
            converted_directly("", target, TYPE_RGB_8, 0, page.rgb));
}

// ---- Many pixels

// One call of Little CMS for the complete page must give the same bytes as the conversion row by
// row, in which colors are cached, replaced and converted in batches.
TEST_F(Icc, PageEqualsOneCallOfLittleCms) {
  const std::string wide = profiles_.rgb_matrix("wide.icc");
  const std::string targets[] = {profiles_.rgb_matrix("narrow.icc", 2.4),
                                 profiles_.rgb_table("printer.icc"),
                                 profiles_.cmyk_table("press.icc"), profiles_.gray("gray.icc")};
  // Noise first, then a photograph: the color cache pauses and resumes.
  Page page = noise_page(1300, 60, 16);
  const Page photo = photo_page(1300, 140, 17);
  page.rgb.insert(page.rgb.end(), photo.rgb.begin(), photo.rgb.end());
  page.height += photo.height;
  for (const std::string& target : targets) {
    std::vector<std::uint8_t> expected;
    if (target.ends_with("press.icc")) {
      expected = inverted_cmy(converted_directly(wide, target, TYPE_CMYK_8, 0, page.rgb));
    } else if (target.ends_with("gray.icc")) {
      expected = tripled(converted_directly(wide, target, TYPE_GRAY_8, 0, page.rgb));
    } else {
      expected = converted_directly(wide, target, TYPE_RGB_8, 0, page.rgb);
    }
    EXPECT_TRUE(convert_page(icc_options(wide, target), page).rgb == expected) << target;
  }
}

// ---- From page to page

TEST_F(Icc, KeptTransformGivesTheSameBytesAndLog) {
  const PrintOptions options =
      icc_options(profiles_.rgb_matrix("wide.icc"), profiles_.cmyk_table("press.icc"));
  IccTransform icc;
  for (unsigned number = 0; number < 3; ++number) {
    const Page page = photo_page(60, 20, 20 + number);
    const Result fresh = convert_page(options, page);
    const Result kept = convert_page(options, page, &icc);
    EXPECT_EQ(kept.rgb, fresh.rgb);
    EXPECT_EQ(kept.log, fresh.log);
  }
}

TEST_F(Icc, KeptTransformIsNotUsedWhenASettingChanged) {
  const std::string wide = profiles_.rgb_matrix("wide.icc");
  const std::string printer = profiles_.rgb_table("printer.icc");
  const Page page = photo_page(30, 30, 30);
  IccTransform icc;
  const auto expect_same_as_new_transform = [&](const PrintOptions& options, const char* what) {
    const Result fresh = convert_page(options, page);
    Result kept = convert_page(options, page, &icc);
    EXPECT_EQ(kept.rgb, fresh.rgb) << what;
    EXPECT_EQ(kept.log, fresh.log) << what;
    return kept.rgb;
  };
  const auto first = expect_same_as_new_transform(icc_options(wide, printer), "first page");
  EXPECT_NE(expect_same_as_new_transform(icc_options(wide, printer, "Saturation"), "intent"),
            first);
  EXPECT_NE(expect_same_as_new_transform(icc_options("", printer), "source"), first);
  EXPECT_NE(expect_same_as_new_transform(icc_options(wide, ""), "target"), first);
  EXPECT_EQ(expect_same_as_new_transform(icc_options(wide, profiles_.lab("lab.icc")), "refused"),
            page.rgb);
  EXPECT_EQ(expect_same_as_new_transform(icc_options(wide, printer), "first page again"), first);
  PrintOptions off = icc_options(wide, printer);
  off.icc_profile_name[0] = '\0';
  EXPECT_EQ(expect_same_as_new_transform(off, "switched off"), page.rgb);
  EXPECT_EQ(expect_same_as_new_transform(icc_options(wide, printer), "and on"), first);
}

// A job keeps its transform: a change of the profile's file takes effect with the next job.
TEST_F(Icc, ProfileReplacedDuringTheJobCountsForTheNextJob) {
  const std::string path = profiles_.path("changing.icc");
  const Page page = photo_page(30, 30, 31);
  const PrintOptions options = icc_options("", path);
  std::filesystem::rename(profiles_.rgb_matrix("a.icc", 1.5), path);
  IccTransform icc;
  const Result first = convert_page(options, page, &icc);
  const auto expect_unchanged = [&] {
    const Result next = convert_page(options, page, &icc);
    EXPECT_EQ(next.rgb, first.rgb);
    EXPECT_EQ(next.log, first.log);
  };
  std::filesystem::rename(profiles_.rgb_matrix("b.icc", 2.5), path);
  expect_unchanged();
  EXPECT_NE(convert_page(options, page).rgb, first.rgb);
  std::filesystem::remove(path);
  expect_unchanged();
  EXPECT_THAT(convert_page(options, page).log, HasSubstr(kTargetMissing));
}

TEST_F(Icc, UnusableProfileIsNotReadAgainDuringTheJob) {
  const std::string path = profiles_.path("changing.icc");
  const Page page = photo_page(30, 30, 32);
  const PrintOptions options = icc_options("", path);
  IccTransform icc;
  EXPECT_THAT(convert_page(options, page, &icc).log, HasSubstr(kTargetMissing));
  std::filesystem::rename(profiles_.rgb_matrix("a.icc", 1.5), path);
  EXPECT_THAT(convert_page(options, page, &icc).log, HasSubstr(kTargetMissing));

  std::filesystem::rename(profiles_.lab("lab.icc"), path);
  IccTransform refused;
  EXPECT_THAT(convert_page(options, page, &refused).log, HasSubstr("Unsupported"));
  std::filesystem::rename(profiles_.rgb_matrix("b.icc", 1.5), path);
  EXPECT_EQ(convert_page(options, page, &refused).rgb, page.rgb);
}

}  // namespace
