// The ICC conversion: every byte and every line of the log are those of the reference, which
// converts the complete page in one call of Little CMS, and every kind of invalid profile is tried.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <lcms2.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "tests/pipeline_adjust/icc_page.h"
#include "tests/pipeline_adjust/profiles.h"
#include "tests/support/reference_state.h"

namespace {

using testing::HasSubstr;

Result reference_result(const PrintOptions& options, const Page& page) {
  const ReferenceJob job;
  reference::PlainFilter plain(job);
  plain.settings.icc_enabled = options.icc_enabled != 0;
  plain.settings.icc_name = options.icc_profile_name;
  plain.settings.icc_path = options.icc_profile_path;
  plain.settings.icc_intent = options.icc_intent;
  plain.settings.color_base = options.color_base;
  plain.settings.color_base_path = options.color_base_profile_path;
  reference::Image image =
      reference::make_image(static_cast<int>(page.width), static_cast<int>(page.height));
  for (std::size_t i = 0; i < page.rgb.size(); ++i) image.plane[i % 3][i / 3] = page.rgb[i];
  plain.convert_icc(image);
  Result result;
  for (std::size_t i = 0; i < page.rgb.size(); ++i) {
    result.rgb.push_back(image.plane[i % 3][i / 3]);
  }
  for (const std::string& line : plain.log) result.log += line + "\n";
  return result;
}

// Returns the converted page.
std::vector<std::uint8_t> expect_like_reference(const PrintOptions& options, const Page& page) {
  const Result expected = reference_result(options, page);
  const Result result = convert_page(options, page);
  EXPECT_TRUE(result.rgb == expected.rgb) << expected.log;
  EXPECT_EQ(result.log, expected.log);
  return result.rgb;
}

class Icc : public testing::Test {
 protected:
  ProfileFolder profiles_;
};

TEST_F(Icc, EnabledWithoutAProfileNameLeavesThePlanesUnchanged) {
  PrintOptions options = icc_options("", profiles_.rgb_matrix("a.icc"));
  options.icc_profile_name[0] = '\0';
  const Page page = noise_page(5, 4, 1);
  EXPECT_EQ(expect_like_reference(options, page), page.rgb);
}

// Colors are cached, replaced and converted in batches. Noise first, then a photograph: the cache
// pauses and resumes.
TEST_F(Icc, EveryKindOfTargetGivesTheBytesOfOneCallOfLittleCms) {
  const std::string wide = profiles_.rgb_matrix("wide.icc");
  Page page = noise_page(1300, 60, 16);
  const Page photo = photo_page(1300, 140, 17);
  page.rgb.insert(page.rgb.end(), photo.rgb.begin(), photo.rgb.end());
  page.height += photo.height;
  for (const std::string& target :
       {profiles_.rgb_matrix("narrow.icc", 2.4), profiles_.rgb_table("printer.icc"),
        profiles_.cmyk_table("press.icc"), profiles_.gray("gray.icc")}) {
    EXPECT_FALSE(expect_like_reference(icc_options(wide, target), page) == page.rgb) << target;
  }
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
  EXPECT_EQ(expect_like_reference(icc_options("", ""), page), page.rgb);
  EXPECT_THAT(convert_page(icc_options("", ""), page).log,
              HasSubstr("K905-1: Changed pixels in sample: 3\n"));
}

TEST_F(Icc, SamplesAreTakenAfterTheConversion) {
  // Black stays black in a matrix profile, mid gray does not: all of the page is gray but its
  // center.
  const PrintOptions options = icc_options("", profiles_.rgb_matrix("dark.icc", 1.2));
  Page page = plain_page(100, 40, 90, 90, 90);
  set_pixel(page, 2000, 0, 0, 0);
  const std::vector<std::uint8_t> converted = expect_like_reference(options, page);
  EXPECT_EQ(converted[6000] + converted[6001] + converted[6002], 0);
  EXPECT_NE(converted[0], 90);
  EXPECT_THAT(convert_page(options, page).log, HasSubstr("K905-1: Changed pixels in sample: 3\n"));
}

TEST_F(Icc, IntentsAreChosenByTheirExactText) {
  const std::string target = profiles_.rgb_table("printer.icc");
  const Page page = noise_page(20, 20, 8);
  std::set<std::vector<std::uint8_t>> different;
  for (const char* intent :
       {"Perceptual", "Relative", "Saturation", "Absolute", "relative", "Relative ", ""}) {
    different.insert(expect_like_reference(icc_options("", target, intent), page));
  }
  EXPECT_EQ(different.size(), 4u) << "the profile gives the same bytes for several intents";
}

TEST_F(Icc, UnsupportedPairOfColorSpacesIsLoggedAndThePlanesStayUnchanged) {
  const std::string rgb = profiles_.rgb_matrix("wide.icc");
  // A profile can contain any four bytes; the enumeration of color spaces cannot represent these.
  std::string bytes = wide_rgb_profile();
  bytes.replace(16, 4, "\xFF\xFE\xFD\xFC");
  const std::string unknown_space = profiles_.file("strange.icc", bytes);
  const std::pair<std::string, std::string> pairs[] = {
      {profiles_.lab("lab.icc"), rgb},
      {profiles_.gray("gray.icc"), rgb},
      {profiles_.cmyk_table("press.icc"), rgb},
      {unknown_space, rgb},
      {profiles_.hollow("cmy.icc", cmsSigCmyData), rgb},
      {rgb, profiles_.path("lab.icc")},
      {rgb, unknown_space},
      {rgb, profiles_.hollow("xyz.icc", cmsSigXYZData)},
      {rgb, profiles_.hollow("luv.icc", cmsSigLuvData)},
      {rgb, profiles_.hollow("ycbcr.icc", cmsSigYCbCrData)},
      {rgb, profiles_.hollow("yxy.icc", cmsSigYxyData)},
      {rgb, profiles_.hollow("hsv.icc", cmsSigHsvData)},
  };
  const Page page = noise_page(6, 5, 9);
  for (const auto& [source, target] : pairs) {
    EXPECT_EQ(expect_like_reference(icc_options(source, target), page), page.rgb);
  }
}

TEST_F(Icc, ProfileWithoutATransformIsTriedOnceMore) {
  const PrintOptions options =
      icc_options(profiles_.rgb_matrix("wide.icc"), profiles_.hollow("empty.icc", cmsSigCmykData));
  const Page page = noise_page(4, 4, 10);
  EXPECT_EQ(expect_like_reference(options, page), page.rgb);
}

// ---- Files that are not profiles

constexpr char kTargetMissing[] = "K905-1: WARNING: Target profile not found, using sRGB\n";

class BadFile : public Icc {
 protected:
  // `path` once as source and once as target: the built-in sRGB is used instead.
  void expect_srgb_instead_of(const std::string& path) {
    const std::string printer = profiles_.rgb_table("good_printer.icc");
    const std::string wide = profiles_.rgb_matrix("good_wide.icc");
    const Page page = noise_page(12, 10, 11);
    EXPECT_EQ(expect_like_reference(icc_options(path, printer), page),
              converted_directly("", printer, TYPE_RGB_8, 0, page.rgb));
    EXPECT_EQ(expect_like_reference(icc_options(wide, path), page),
              converted_directly(wide, "", TYPE_RGB_8, 0, page.rgb));
  }
};

TEST_F(BadFile, MissingFileIsReplacedBySrgb) {
  const std::string link = profiles_.path("link.icc");
  ASSERT_EQ(symlink("/nowhere/at/all", link.c_str()), 0);
  for (const std::string& path : {profiles_.path("nowhere.icc"), std::string(), link}) {
    expect_srgb_instead_of(path);
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
    expect_srgb_instead_of(path);
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

TEST_F(BadFile, UnreadableFileIsReplacedBySrgb) {
  const OrdinaryUser user(profiles_.path(""));
  const std::string path = profiles_.rgb_matrix("locked.icc");
  ASSERT_EQ(chmod(path.c_str(), 0), 0);
  expect_srgb_instead_of(path);
}

TEST_F(Icc, ProfileTruncatedAnywhereStillGivesAPage) {
  const std::string bytes = rgb_table_profile();
  const Page page = noise_page(6, 6, 13);
  for (std::size_t length = 0; length < bytes.size(); length += 1 + length / 3) {
    const std::string path = profiles_.file("cut.icc", bytes.substr(0, length));
    expect_like_reference(icc_options("", path), page);
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
TEST_F(Icc, ProfileReplacedDuringTheJobIsUsedByTheNextJob) {
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
