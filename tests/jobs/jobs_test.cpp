// Complete jobs through the built program, compared with the reference to the last byte and line.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <random>

#include "tests/jobs/job_check.h"
#include "tests/support/child_process.h"
#include "tests/support/profile_builder.h"

namespace {

struct PaperSize {
  const char* name;
  unsigned width_pt;
  unsigned height_pt;
};

// PageSize in whole points, rounded as CUPS does it.
constexpr PaperSize kPapers[] = {
    {"B7", 461, 261},
    {"w360h360", 461, 370},
    {"w360h504", 461, 513},
    {"w288h432", 461, 298},
    {"w288h432-div2", 461, 586},
    {"w432h576-div2", 461, 600},
    {"w432h576-div4", 461, 586},
    {"w432h432", 441, 461},
    {"w432h576", 461, 585},
    {"default", 200, 200},
};

RasterPage filled_page(const cups_page_header2_t& header, unsigned seed,
                       void (*fill)(RasterPage&, std::mt19937&)) {
  std::mt19937 random(seed);
  RasterPage page = blank_page(header);
  fill(page, random);
  return page;
}

RasterPage gradient_page(const cups_page_header2_t& header, unsigned seed = 1) {
  return filled_page(header, seed, fill_with_gradient);
}

RasterPage noise_page(const cups_page_header2_t& header, unsigned seed = 1) {
  return filled_page(header, seed, fill_with_noise);
}

// A job on the smallest paper with these arguments and pages.
JobRecipe small_job(const std::vector<std::string>& arguments, const std::vector<RasterPage>& pages,
                    RasterKind kind = RasterKind::kUncompressed) {
  JobRecipe job;
  job.choose("PageSize", "B7");
  job.arguments.insert(job.arguments.end(), arguments.begin(), arguments.end());
  job.input = raster_stream(pages, kind);
  return job;
}

cups_page_header2_t header_for(const PaperSize& paper, unsigned width, unsigned height,
                               unsigned colors = 3, unsigned bits = 8) {
  cups_page_header2_t header = page_header(width, height, colors, bits);
  header.PageSize[0] = paper.width_pt;
  header.PageSize[1] = paper.height_pt;
  return header;
}

// A small image on the smallest paper: the fastest page to print.
RasterPage quick_page(unsigned seed = 1) {
  return gradient_page(smallest_page_header(50, 40), seed);
}

// ---- papers ----

class EveryPaper : public ::testing::TestWithParam<PaperSize> {};

TEST_P(EveryPaper, ByNamePlainInterlacedRotatedAndBoth) {
  JobRecipe job;
  job.choose("PageSize", GetParam().name);
  std::vector<RasterPage> pages;
  for (const unsigned vertical_dpi : {300U, 600U}) {
    for (const cups_orient_t orientation : {CUPS_ORIENT_0, CUPS_ORIENT_90}) {
      cups_page_header2_t header = page_header(37 + vertical_dpi / 30, 53);
      header.HWResolution[1] = vertical_dpi;
      header.Orientation = orientation;
      pages.push_back(gradient_page(header, vertical_dpi + orientation));
    }
  }
  job.input = raster_stream(pages, RasterKind::kCompressed);
  expect_like_reference(job);
}

INSTANTIATE_TEST_SUITE_P(Jobs, EveryPaper, ::testing::ValuesIn(kPapers), [](const auto& instance) {
  std::string name = instance.param.name;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
});

TEST(Papers, MayDifferBetweenThePagesOfAJob) {
  JobRecipe job;
  std::vector<RasterPage> pages;
  for (const PaperSize& paper : {kPapers[3], kPapers[0], kPapers[7], kPapers[9]}) {
    pages.push_back(gradient_page(header_for(paper, 20, 30)));
    std::swap(pages.back().header.PageSize[0], pages.back().header.PageSize[1]);
  }
  job.input = raster_stream(pages);
  expect_like_reference(job);
}

TEST(Papers, ManualChoiceIsReportedAndReplaced) {
  JobRecipe job;
  job.arguments.insert(job.arguments.end(), {"--paper-size", "6x8", "--paper-size", "6x4*2",
                                             "--paper-size", "letter", "--paper-size"});
  job.input = raster_stream({quick_page()});
  expect_like_reference(job);
}

// ---- raster formats ----

struct InputClass {
  const char* name;
  unsigned colors;
  unsigned bits;
};
constexpr InputClass kInputClasses[] = {{"Rgb8", 3, 8},  {"Rgb16", 3, 16}, {"Gray8", 1, 8},
                                        {"Gray1", 1, 1}, {"Four8", 4, 8},  {"Four16", 4, 16},
                                        {"Rgb1", 3, 1}};

class EveryInputClass : public ::testing::TestWithParam<InputClass> {};

TEST_P(EveryInputClass, UnderEveryColorSpace) {
  JobRecipe job;
  job.choose("ColorModel", "KCMY");
  std::vector<RasterPage> pages;
  for (const unsigned space : {6U, 0U, 1U, 2U, 3U, 4U, 5U}) {
    // With an odd width, some bits of the last byte of a line are unused.
    cups_page_header2_t header = smallest_page_header(43, 29, GetParam().colors, GetParam().bits);
    header.cupsColorSpace = static_cast<cups_cspace_t>(space);
    pages.push_back(noise_page(header, space));
  }
  job.input = raw_raster_stream(pages);
  expect_like_reference(job);
}

INSTANTIATE_TEST_SUITE_P(Jobs, EveryInputClass, ::testing::ValuesIn(kInputClasses),
                         [](const auto& instance) { return std::string(instance.param.name); });

class EveryColorModel : public ::testing::TestWithParam<const char*> {};

TEST_P(EveryColorModel, ConvertsPagesOfThreeFourAndOneColors) {
  JobRecipe job;
  job.choose("ColorModel", GetParam());
  std::vector<RasterPage> pages;
  for (const unsigned colors : {3U, 4U, 1U}) {
    cups_page_header2_t header = smallest_page_header(64, 64, colors);
    header.cupsColorSpace = CUPS_CSPACE_DEVICE3;  // does not change the color model of the PPD file
    pages.push_back(noise_page(header, colors));
  }
  job.input = raster_stream(pages);
  expect_like_reference(job);
}

INSTANTIATE_TEST_SUITE_P(Jobs, EveryColorModel,
                         ::testing::Values("RGB", "Gray", "Black", "CMY", "CMYK", "KCMY", "gray",
                                           "Grey"),
                         [](const auto& instance) {
                           return std::string(instance.param) == "gray" ? "LowerCaseGray"
                                                                        : instance.param;
                         });

TEST(Streams, OtherByteOrderGivesTheSameJob) {
  JobRecipe job;
  job.input =
      raw_raster_stream({noise_page(smallest_page_header(33, 20, 3, 16)), quick_page()}, true);
  expect_like_reference(job);
}

TEST(Streams, FirstVersionHasAShorterHeader) {
  const RasterPage page = quick_page();
  JobRecipe job;
  const std::uint32_t sync = CUPS_RASTER_SYNCv1;
  job.input.append(reinterpret_cast<const char*>(&sync), sizeof sync);
  for (int i = 0; i < 2; ++i) {
    job.input.append(reinterpret_cast<const char*>(&page.header), sizeof(cups_page_header_t));
    job.input.append(page.pixels.begin(), page.pixels.end());
  }
  expect_like_reference(job);
}

// ---- sizes ----

struct Size {
  unsigned width;
  unsigned height;
};

class EverySize : public ::testing::TestWithParam<Size> {};

TEST_P(EverySize, IsResizedToThePaper) {
  JobRecipe job;
  job.choose("PageSize", "B7");
  const RasterPage page = noise_page(page_header(GetParam().width, GetParam().height));
  job.input = raster_stream({page}, RasterKind::kCompressed);
  expect_like_reference(job);
}

// The target of this paper is 1548 x 1088.
INSTANTIATE_TEST_SUITE_P(
    Jobs, EverySize,
    ::testing::Values(Size{1, 1}, Size{1, 40}, Size{40, 1}, Size{2, 2}, Size{3, 5},
                      Size{1548, 1088}, Size{1548, 1}, Size{1, 1088}, Size{1547, 1088},
                      Size{1548, 1087}, Size{1549, 1089}, Size{774, 544}, Size{3096, 2176},
                      Size{3001, 77}, Size{77, 3001}, Size{6000, 1700},
                      // Steps of 1/4, 3/4, 5/4 and 3/2; of 2 and 1/2; of 1/2 and 1/16; of 1/2 and a
                      // step that is not a multiple of 1/16.
                      Size{387, 272}, Size{1161, 816}, Size{1935, 1360}, Size{2322, 1632},
                      Size{3096, 544}, Size{774, 68}, Size{774, 545}),
    [](const auto& instance) {
      return std::to_string(instance.param.width) + "x" + std::to_string(instance.param.height);
    });

TEST(Sizes, InMillimetersAreRoundedAtEveryStep) {
  // At 600 dpi 45 rows are 1.905 mm and 495 are 20.955 mm, halfway between two numbers of two
  // decimals: the result shows whether the height was multiplied before it was divided.
  std::vector<RasterPage> pages;
  for (const unsigned height : {45U, 495U}) {
    cups_page_header2_t header = page_header(height, height);
    header.HWResolution[0] = header.HWResolution[1] = 600;
    pages.push_back(gradient_page(header));
  }
  expect_like_reference(small_job({}, pages));
}

TEST(Sizes, OfTheTargetAreNotResizedEvenIfInterlacedOrRotated) {
  cups_page_header2_t interlaced = page_header(1548, 2176);
  interlaced.HWResolution[1] = 600;
  expect_like_reference(small_job({}, {gradient_page(interlaced)}));
  cups_page_header2_t rotated = page_header(1088, 1548);
  rotated.Orientation = CUPS_ORIENT_270;
  expect_like_reference(small_job({}, {gradient_page(rotated)}, RasterKind::kCompressed));
  // An image of the size of the effective area is still resized to the target.
  expect_like_reference(small_job({}, {gradient_page(page_header(1800, 1053))}));
}

// ---- bleeds ----

class EveryBleed : public ::testing::TestWithParam<std::vector<std::string>> {};

TEST_P(EveryBleed, PlacesTheImage) {
  JobRecipe job;
  job.choose("PageSize", "B7");
  job.choose("BleedA", "0.5");
  job.choose("BleedRight", "-1");
  job.arguments.insert(job.arguments.end(), GetParam().begin(), GetParam().end());
  cups_page_header2_t interlaced = page_header(50, 60);
  interlaced.HWResolution[1] = 600;
  job.input = raster_stream({gradient_page(page_header(50, 60)), gradient_page(interlaced)});
  expect_like_reference(job);
}

INSTANTIATE_TEST_SUITE_P(
    Jobs, EveryBleed,
    ::testing::Values(std::vector<std::string>{}, std::vector<std::string>{"BleedTop=-100"},
                      std::vector<std::string>{"BleedTop=-1", "BleedB=-.5", "BleedC=3.25mm",
                                               "BleedD=x"},
                      // Bleeds that leave one column, one row or nothing, and bleeds that extend
                      // beyond the canvas.
                      std::vector<std::string>{"BleedLeft=80", "BleedRight=72.6"},
                      std::vector<std::string>{"BleedTop=50", "BleedBottom=50"},
                      std::vector<std::string>{"BleedTop=92.03", "BleedLeft=162.5"},
                      std::vector<std::string>{"BleedTop=1e30", "BleedLeft=1e300",
                                               "BleedRight=-1e30", "BleedBottom=nan"},
                      std::vector<std::string>{"BleedLeft=181813000000", "BleedA=inf"}));

TEST(Bleeds, ImageOfExactlyTheirAreaIsCopied) {
  // The canvas is 1920 wide, the target 1548; half of the difference of 372 is 186 on each side:
  // 136 px (11.5 mm) more than the paper's 50 and 116 px (9.8 mm) more than its 70. The bleeds at
  // top and bottom are removed.
  expect_like_reference(small_job({"BleedLeft=11.5", "BleedRight=9.8", "BleedA=-9", "BleedB=-9"},
                                  {gradient_page(page_header(1548, 1088))}));
}

// ---- tone ----

using Choices = std::vector<std::pair<std::string, std::string>>;

class EveryTone : public ::testing::TestWithParam<Choices> {};

TEST_P(EveryTone, ChangesTheImage) {
  JobRecipe job;
  job.choose("PageSize", "B7");
  for (const auto& [keyword, choice] : GetParam()) {
    job.choose(keyword, choice);
  }
  job.input = raster_stream({noise_page(page_header(1548, 1088))});
  expect_like_reference(job);
}

INSTANTIATE_TEST_SUITE_P(
    Jobs, EveryTone,
    ::testing::Values(Choices{{"StpBrightness", "150"}, {"StpContrast", "-200"}},
                      Choices{{"StpBrightness", "-2500"}, {"StpGamma", "500"}},
                      Choices{{"StpBrightness", "-1500"},
                              {"StpCyanGamma", "2200"},
                              {"StpMagentaGamma", "0"},
                              {"StpYellowGamma", "-700"}},
                      Choices{{"StpGamma", "0"}, {"StpSaturation", "300"}},
                      Choices{{"StpSaturation", "450"}}, Choices{{"StpSaturation", "-1000"}},
                      Choices{{"StpColorCorrection", "Bright"}, {"StpLinearContrast", "True"}},
                      Choices{{"StpColorCorrection", "Accurate"}, {"StpLegacyDyesubGamma", "True"}},
                      Choices{{"StpColorCorrection", "Hue"},
                              {"StpCyanBalance", "900"},
                              {"StpMagentaBalance", "-100"},
                              {"StpYellowBalance", "1100"}},
                      Choices{{"StpColorCorrection", "Desaturated"}, {"StpContrast", "700"}},
                      Choices{{"StpLegacyDyesubGamma", "True"}, {"StpSaturation", "200"}},
                      Choices{{"StpBrightness", "2147483648"},
                              {"StpContrast", "-99999999999"},
                              {"StpSaturation", "1e9"},
                              {"StpCyanBalance", "4000000000"}},
                      Choices{{"StpBrightness", "40"},
                              {"StpContrast", "60"},
                              {"StpSaturation", "80"},
                              {"StpGamma", "1100"},
                              {"StpCyanGamma", "950"},
                              {"StpMagentaGamma", "1050"},
                              {"StpYellowGamma", "980"},
                              {"StpCyanBalance", "990"},
                              {"StpMagentaBalance", "1010"},
                              {"StpYellowBalance", "1020"},
                              {"StpColorCorrection", "Hue"},
                              {"StpLinearContrast", "True"},
                              {"StpLegacyDyesubGamma", "True"}}));

// ---- profiles ----

std::map<std::string, std::string> profile_files() {
  return {{"rgb.icc", wide_rgb_profile()},      {"cmyk.icm", cmyk_table_profile()},
          {"gray.icc", gray_profile()},         {"lab.icc", lab_profile()},
          {"hollow.icc", hollow_rgb_profile()}, {"broken.icc", "no profile"}};
}

class EveryProfile : public ::testing::TestWithParam<const char*> {};

TEST_P(EveryProfile, AsTargetUnderEveryIntent) {
  JobRecipe job;
  job.choose("PageSize", "B7");
  job.files = profile_files();
  const std::string intents[] = {"Perceptual", "Relative", "Saturation", "Absolute", "relative"};
  // For most profiles one intent is enough; the profile with tables is tested with all.
  const bool all = std::string(GetParam()) == "cmyk";
  for (const std::string& intent : intents) {
    JobRecipe one = job;
    one.arguments.insert(one.arguments.end(),
                         {"--icc-profile", GetParam(), "--icc-intent", intent});
    one.input = raster_stream({gradient_page(page_header(1548, 1088), 5)});
    expect_like_reference(one);
    if (!all) {
      break;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Jobs, EveryProfile,
                         ::testing::Values("rgb", "cmyk", "gray", "lab", "hollow", "broken",
                                           "missing"));

TEST(Profiles, ThatAreNotRegularFilesCannotBeOpened) {
  const ScratchFolder folder;
  const std::string fifo = folder.path() + "/fifo";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  for (const char* path : {"/dev", "/dev/null", "/dev/zero", fifo.c_str()}) {
    expect_like_reference(small_job({"--icc-profile", path}, {quick_page()}));
  }
}

TEST(Profiles, LongNameIsLookedUpCompletelyAndStoredTruncated) {
  const std::string name(200, 'n');
  JobRecipe job = small_job({"--icc-profile", name}, {quick_page()});
  job.files[name + ".icm"] = wide_rgb_profile();
  job.arguments[5] = "ICCProfile=ICCPROFILE(no) ICCProfile=x";
  expect_like_reference(job);
}

TEST(Profiles, OptionStringNamesThemByChoiceOrMarker) {
  for (const char* choice : {"ICCProfile=K905RGB", "ICCProfile=ICCPROFILE\u00a0(mine)",
                             "fit ICCProfile=ICCPROFILE ICCProfile=sRGB", "ICCProfile= x",
                             "=ICCProfile=sRGB\tICCProfile=k905rgb"}) {
    JobRecipe job = small_job({}, {quick_page()});
    job.files["pm-905-wd-251126-5.icm"] = wide_rgb_profile();
    job.arguments[5] = choice;
    expect_like_reference(job);
  }
}

TEST(Profiles, AreKeptForAllPagesOfAJob) {
  JobRecipe job;
  job.files = profile_files();
  job.choose("PageSize", "B7");
  job.choose("ColorBase", "Vivid");
  job.arguments.push_back("ICCProfile=x ICCPROFILE (cmyk.icm) y");
  job.arguments.push_back("StpSaturation=150");
  job.input = raster_stream({noise_page(page_header(1548, 1088)), quick_page(2), quick_page(3)});
  expect_like_reference(job);
}

TEST(Profiles, DefaultOfNoneInThePpdStillConverts) {
  JobRecipe job;
  job.choose("PageSize", "B7");
  job.choose("ICCProfile", "None");
  job.input = raster_stream({quick_page()});
  expect_like_reference(job);
}

TEST(Profiles, SolidPageShowsNoChangeAtItsCenter) {
  JobRecipe job;
  job.files = profile_files();
  job.choose("PageSize", "B7");
  job.arguments.insert(job.arguments.end(), {"--icc-profile", "./nowhere/../rgb.icc"});
  job.arguments[5] = "number-up=1 ICCProfile=AdobeRGB ICCProfile=sRGB";
  RasterPage white = blank_page(page_header(30, 30));
  std::fill(white.pixels.begin(), white.pixels.end(), std::uint8_t{255});
  job.input = raster_stream({white});
  expect_like_reference(job);
}

// ---- copies, pages, pairs ----

class EveryCopyCount : public ::testing::TestWithParam<const char*> {};

TEST_P(EveryCopyCount, PrintsThatManyCopiesOfEachPage) {
  for (const RasterKind kind : {RasterKind::kUncompressed, RasterKind::kCompressed}) {
    JobRecipe job;
    job.choose("PageSize", "B7");
    job.arguments.insert(job.arguments.end(), {"--copies", GetParam()});
    RasterPage second = quick_page(2);
    second.header.NumCopies = 4;
    job.input = raster_stream({quick_page(1), second}, kind);
    expect_like_reference(job);
  }
}

INSTANTIATE_TEST_SUITE_P(Jobs, EveryCopyCount,
                         ::testing::Values("3", "1", "0", "-2147483649", "many", "2 or so"));

TEST(Copies, InTheHeaderAreIgnored) {
  RasterPage page = quick_page();
  page.header.NumCopies = 4294967295U;
  expect_like_reference(small_job({}, {page, quick_page(2)}));
}

class EveryRibbon : public ::testing::TestWithParam<const char*> {};

TEST_P(EveryRibbon, DecidesWhetherPagesArePaired) {
  JobRecipe job;
  job.ribbon = GetParam();
  job.choose("PageSize", "w288h432");
  std::vector<RasterPage> pages;
  for (unsigned i = 0; i < 3; ++i) {
    pages.push_back(gradient_page(page_header(60, 50), i));
  }
  job.input = raster_stream(pages);
  expect_like_reference(job);
}

INSTANTIATE_TEST_SUITE_P(Jobs, EveryRibbon, ::testing::Values("6x8", "6x4", "6X8", "6x8 "),
                         [](const auto& instance) {
                           return "Number" + std::to_string(instance.index);
                         });

TEST(TwoUp, PairsPagesAndCopiesInTheirOrder) {
  for (const char* copies : {"1", "2"}) {
    JobRecipe job;
    job.ribbon = "6x8";
    job.choose("StpLaminate", "Matte");
    job.arguments.insert(job.arguments.end(), {"--copies", copies});
    job.input = raster_stream(
        {gradient_page(page_header(60, 50), 1), gradient_page(page_header(1844, 1240), 2)});
    expect_like_reference(job);
  }
}

TEST(TwoUp, LaysOutBothByTheFirstPagesSize) {
  JobRecipe job;
  job.ribbon = "6x8";
  cups_page_header2_t interlaced = page_header(60, 50);
  interlaced.HWResolution[1] = 600;
  // A short page below a tall one, and a tall one below a short one.
  job.input =
      raster_stream({gradient_page(interlaced, 1), gradient_page(page_header(60, 50), 2),
                     gradient_page(header_for(kPapers[3], 40, 40), 3), gradient_page(interlaced, 4),
                     gradient_page(header_for(kPapers[8], 40, 40), 5), quick_page(6)});
  expect_like_reference(job);
}

TEST(TwoUp, FailedPageKeepsTheOrderOfTheOthers) {
  JobRecipe job;
  job.ribbon = "6x8";
  RasterPage empty = blank_page(page_header(60, 50));
  empty.header.cupsWidth = 0;
  job.input = raw_raster_stream({gradient_page(page_header(60, 50), 1), empty,
                                 gradient_page(page_header(60, 50), 3),
                                 gradient_page(page_header(60, 50), 4)});
  expect_like_reference(job);
}

TEST(TwoUp, OnlyTheFirstPageDecidesWhetherPagesArePaired) {
  JobRecipe job;
  job.ribbon = "6x8";
  job.input = raster_stream({quick_page(1), gradient_page(page_header(60, 50), 2)});
  expect_like_reference(job);
}

// ---- inconsistent headers ----

class EveryInconsistency : public ::testing::TestWithParam<void (*)(RasterPage&)> {};

TEST_P(EveryInconsistency, IsHandledAndTheNextPagePrinted) {
  RasterPage page = noise_page(smallest_page_header(50, 40));
  GetParam()(page);
  JobRecipe job;
  job.input = raw_raster_stream({page, quick_page(2)});
  expect_like_reference(job);
}

INSTANTIATE_TEST_SUITE_P(
    Jobs, EveryInconsistency,
    ::testing::Values(
        // Lines too short for their pixels: missing bytes count as zero.
        [](RasterPage& p) {
          p.header.cupsBytesPerLine = 75;
          p.pixels.resize(std::size_t{75} * 40);
        },
        // The line holds one of its fifty pixels.
        [](RasterPage& p) {
          p.header.cupsBytesPerLine = 3;
          p.pixels.resize(std::size_t{3} * 40);
        },
        // Lines longer than their pixels.
        [](RasterPage& p) {
          p.header.cupsBytesPerLine = 300;
          p.pixels.resize(std::size_t{300} * 40, 9);
        },
        [](RasterPage& p) { p.header.cupsWidth = 0; },
        [](RasterPage& p) { p.header.cupsWidth = 200000; },
        // Planes of a size that is not even requested from malloc.
        [](RasterPage& p) { p.header.cupsWidth = (1U << 29) / 40 + 1; },
        [](RasterPage& p) { p.header.cupsWidth = 0xFFFFFFFFU; },
        // A number of colors that is 0 or wrong.
        [](RasterPage& p) { p.header.cupsNumColors = 0; },
        [](RasterPage& p) { p.header.cupsNumColors = 4; },
        [](RasterPage& p) { p.header.cupsNumColors = 1; },
        [](RasterPage& p) { p.header.cupsNumColors = 15; },
        [](RasterPage& p) { p.header.cupsBitsPerColor = 16; },
        [](RasterPage& p) { p.header.cupsBitsPerColor = 1; },
        [](RasterPage& p) { p.header.cupsBitsPerPixel = 240; },
        // Color orders that the filter does not support: planar and banded.
        [](RasterPage& p) {
          p.header.cupsColorOrder = CUPS_ORDER_PLANAR;
          p.pixels.resize(p.pixels.size() * 3, 77);
        },
        [](RasterPage& p) { p.header.cupsColorOrder = CUPS_ORDER_BANDED; },
        [](RasterPage& p) {
          p.header.cupsColorOrder = static_cast<cups_order_t>(99);
          p.header.cupsColorSpace = static_cast<cups_cspace_t>(-1);
          p.header.Orientation = static_cast<cups_orient_t>(77);
          p.header.cupsCompression = 4000000000U;
        },
        // Resolutions of 0.
        [](RasterPage& p) { p.header.HWResolution[0] = p.header.HWResolution[1] = 0; },
        [](RasterPage& p) { p.header.HWResolution[1] = 0; },
        [](RasterPage& p) { p.header.HWResolution[0] = p.header.HWResolution[1] = 4294967295U; },
        // Strings without a terminating NUL, and with text that CUPS would interpret as a message.
        [](RasterPage& p) {
          std::memset(p.header.MediaClass, 'M', sizeof p.header.MediaClass);
          std::strcpy(p.header.MediaColor, "white\nPAGE: 1 999\r");
          std::strcpy(p.header.OutputType, "\nERROR: gone");
        },
        [](RasterPage& p) {
          p.header.PageSize[0] = 4294967295U;
          p.header.NumCopies = 2147483648U;
          p.header.Duplex = static_cast<cups_bool_t>(7);
          p.header.MediaWeight = 230;
          p.header.cupsBorderlessScalingFactor = -1.25F;
        }),
    [](const auto& instance) { return "Number" + std::to_string(instance.index); });

TEST(Headers, InconsistenciesAreTheSameForEveryCopy) {
  RasterPage short_lines = noise_page(smallest_page_header(50, 40));
  short_lines.header.cupsBytesPerLine = 75;
  short_lines.pixels.resize(std::size_t{75} * 40);
  RasterPage planar = noise_page(smallest_page_header(50, 40), 2);
  planar.header.cupsColorOrder = CUPS_ORDER_PLANAR;
  planar.pixels.resize(planar.pixels.size() * 3, 77);
  RasterPage empty = noise_page(smallest_page_header(50, 40), 3);
  empty.header.cupsWidth = 0;
  const RasterPage unsupported = noise_page(smallest_page_header(50, 4, 2), 4);
  JobRecipe job;
  job.arguments.insert(job.arguments.end(), {"--copies", "2"});
  job.input = raw_raster_stream({short_lines, planar, empty, unsupported, quick_page(5)});
  expect_like_reference(job);
}

TEST(Headers, RefusedHeaderEndsTheJobWithAMessage) {
  for (void (*change)(cups_page_header2_t&) :
       {+[](cups_page_header2_t& h) { h.cupsBitsPerPixel = 0; },
        +[](cups_page_header2_t& h) { h.cupsBytesPerLine = 0; },
        +[](cups_page_header2_t& h) { h.cupsHeight = 0; }}) {
    RasterPage wrong = quick_page(2);
    change(wrong.header);
    JobRecipe job;
    job.input = raw_raster_stream({quick_page(1), wrong, quick_page(3)});
    expect_like_reference(job);
    // As the first page, and as the last page.
    job.input = raw_raster_stream({wrong});
    expect_like_reference(job);
    job.input = raster_stream({quick_page(1)}, RasterKind::kCompressed);
    job.input += raw_page(wrong).substr(0, sizeof(cups_page_header2_t));
    expect_like_reference(job);
  }
}

// ---- truncated streams ----

class EveryTruncation : public ::testing::TestWithParam<int> {};

// Two pages of 50 x 40 pixels of three bytes, so that all positions are known.
constexpr std::size_t kHeader = sizeof(cups_page_header2_t);
constexpr std::size_t kLine = 150;
constexpr std::size_t kSecond = 4 + kHeader + 40 * kLine;
constexpr std::size_t kLengths[] = {
    0,                                  // empty
    2,                                  // inside the opening four bytes
    4,                                  // no page
    5,                                  // the first byte of a header
    4 + kHeader - 1,                    // one byte missing from the header
    4 + kHeader,                        // no line
    4 + kHeader + 1,                    // inside the first line
    4 + kHeader + kLine,                // after the first line
    4 + kHeader + 17 * kLine + 149,     // inside a line
    4 + kHeader + 20 * kLine,           // between lines
    kSecond - 1,                        // inside the last line
    kSecond,                            // between the pages
    kSecond + 100,                      // inside the second header
    kSecond + kHeader,                  // before the second page's lines
    kSecond + kHeader + 39 * kLine,     // before its last line
    kSecond + kHeader + 40 * kLine - 1  // inside it
};

TEST_P(EveryTruncation, FailsItsPageInEveryCopy) {
  for (const char* copies : {"1", "2"}) {
    JobRecipe job;
    job.arguments.insert(job.arguments.end(), {"--copies", copies});
    job.input = raster_stream({quick_page(1), quick_page(2)})
                    .substr(0, kLengths[static_cast<std::size_t>(GetParam())]);
    expect_like_reference(job);
  }
}

INSTANTIATE_TEST_SUITE_P(Jobs, EveryTruncation,
                         ::testing::Range(0, static_cast<int>(std::size(kLengths))));

TEST(Truncations, OfACompressedStreamFailTheirPage) {
  const std::string stream = raster_stream({quick_page(1), quick_page(2)}, RasterKind::kCompressed);
  std::mt19937 random(11);
  for (int i = 0; i < 8; ++i) {
    JobRecipe job;
    job.input = stream.substr(0, random() % stream.size());
    expect_like_reference(job);
  }
}

TEST(Truncations, InAnUnsupportedPageAreLoggedAfterItsMessages) {
  JobRecipe job;
  const RasterPage page = noise_page(smallest_page_header(50, 40, 2));
  job.input = raw_raster_stream({page});
  job.input.resize(job.input.size() - 1234);
  expect_like_reference(job);
}

TEST(Truncations, InAWideRasterAreLoggedWithTheirLine) {
  // The filter reads many lines at once; the line number in the message must still be correct.
  const RasterPage page = noise_page(smallest_page_header(1548, 1088));
  const std::string stream = raster_stream({page});
  for (const std::size_t line : {13U, 14U, 500U, 1087U}) {
    JobRecipe job;
    job.input = stream.substr(0, 4 + kHeader + line * 3 * 1548 + 5);
    expect_like_reference(job);
  }
}

TEST(Input, WithoutRasterDataEndsTheJob) {
  for (const char* text : {"%PDF-1.4 and so on", "RaS", "RaS4xxxxxxxxxxxxxxxxxxxx", "\n"}) {
    JobRecipe job;
    job.input = text;
    expect_like_reference(job);
  }
}

// ---- texts from headers, arguments and files ----

TEST(Texts, NeverStartALogLine) {
  JobRecipe job;
  job.arguments = {"K905\nPAGE: 1 1", "1\r\n",         "me\nERROR: no", "a\rb",  "1",
                   "x\nATTR: y",      "--color-model", "CMY\nSTATE: -", "k=\nv", "ICCProfile=\nq"};
  job.choose("PageSize", "B7");
  cups_page_header2_t header = page_header(20, 20);
  header.cupsColorSpace = CUPS_CSPACE_DEVICE1;
  job.input = raster_stream({gradient_page(header)});
  expect_like_reference(job);
}

TEST(Texts, AreTruncatedToTheLongestLineThatCupsAccepts) {
  JobRecipe job;
  job.max_message = 70;
  job.arguments[3] = std::string(5000, 't');
  job.arguments[5] = "ICCProfile=" + std::string(300, 'p') + " " + std::string(3000, 'o');
  job.input = raster_stream({quick_page()});
  expect_like_reference(job);
}

TEST(Texts, AreLoggedCompletelyAtAnyLength) {
  JobRecipe job;
  job.arguments[3] = std::string(9000, 't');
  job.arguments[5] = std::string(9000, 'o');
  job.arguments.push_back("--info");  // has an effect only as the first argument
  job.arguments.push_back("--image-type");
  job.arguments.push_back(std::string(6000, 'i'));
  job.arguments.push_back("Resolution=" + std::string(6000, 'r') + "300x600dpi");
  job.arguments.push_back("StpLaminate=Matte" + std::string(14, ' ') + "and more");
  job.input = raster_stream({quick_page()});
  expect_like_reference(job);
}

TEST(Names, AreTruncatedToTheSizeOfTheirField) {
  // The fields have 16, 32, 64, 128 or 512 bytes, including the terminating NUL.
  for (const std::size_t length : {15U, 16U, 31U, 32U, 63U, 64U, 127U, 128U, 511U, 512U, 100000U}) {
    const std::string name(length, 'n');
    JobRecipe job;
    for (const char* keyword : {"PageRegion", "ColorModel", "StpColorPrecision", "StpImageType",
                                "StpColorCorrection", "Resolution", "StpLaminate",
                                "StpiShrinkOutput", "ICCProfile", "ICCIntent", "ColorBase"}) {
      job.arguments.push_back(std::string(keyword) + "=" + name);
      if (length <= 32) {  // the limit of libcups
        job.choose(keyword, name);
      }
    }
    job.arguments.insert(job.arguments.end(),
                         {"--image-type", name, "--icc-profile", name, "--icc-intent", name});
    job.input = raster_stream({quick_page()});
    expect_like_reference(job);
  }
}

TEST(Ppd, ThousandsOfOptionsAreListed) {
  JobRecipe job;
  for (int i = 0; i < 4000; ++i) {
    job.choose("Option" + std::to_string(i), "Choice" + std::to_string(i));
  }
  job.choose("StpLaminate", "Matte");
  job.input = raster_stream({quick_page()});
  expect_like_reference(job);
}

}  // namespace
