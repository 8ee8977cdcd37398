// What a page's header decides, and what the log says about it.

#include "geometry/page_header.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "paper/paper_table.h"
#include "settings/option_values.h"
#include "settings/print_options.h"
#include "tests/geometry/page_headers.h"
#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;
using ::testing::StartsWith;

// Every test begins with the settings as they are before the first page.
class PageHeader : public ::testing::Test {
 protected:
  PageHeader() { current_options = PrintOptions{.paper_config = &paper_sizes.back()}; }

  // The lines that follow the header's listing: decisions and summary.
  static std::vector<std::string> decisions(const cups_page_header2_t& header) {
    const std::vector<std::string> lines = log_of(header);
    for (std::size_t i = 1; i < lines.size(); ++i) {
      if (lines[i].empty() && lines[i - 1] == std::string(49, '=')) {
        return {lines.begin() + static_cast<std::ptrdiff_t>(i) + 1, lines.end()};
      }
    }
    ADD_FAILURE() << "the listing has no end";
    return {};
  }

  static std::vector<std::string> log_of(const cups_page_header2_t& header) {
    return lines_of(captured_log([&] { extract_print_params_from_header(&header); }));
  }

  // Everything a header decides.
  static auto decided() {
    const PrintOptions& options = current_options;
    return std::make_tuple(options.paper_config, options.rotate_90, options.interlace,
                           options.interlace_factor, std::string(options.resolution),
                           std::string(options.color_model), options.copies);
  }

  static void name_paper(const char* name) { copy_text(current_options.ppd_paper_name, name); }

 private:
  SettingsGuard settings_;
};

TEST_F(PageHeader, NullIsPassedOverWithoutAWord) {
  const auto before = decided();
  EXPECT_EQ(captured_log([] { extract_print_params_from_header(nullptr); }), "");
  EXPECT_EQ(decided(), before);
}

TEST_F(PageHeader, ListingComesFirstAndItsCheckSecond) {
  const std::vector<std::string> lines = log_of(header_6x4());
  EXPECT_EQ(lines[0], "K905-1: PageSize: 461x298 points");
  EXPECT_EQ(lines[1], "========== Detailed CUPS Page Header Information ==========");
  const auto end =
      std::find(lines.begin(), lines.end(), "========== End of Detailed Information ==========");
  ASSERT_GE(lines.end() - end, 6);
  EXPECT_EQ(*(end + 1), "");
  EXPECT_EQ(*(end + 2), "=== Validation Information ===");
  EXPECT_EQ(*(end + 3), "OK: cupsBytesPerLine matches calculation");
  EXPECT_EQ(*(end + 4), "=================================================");
  EXPECT_EQ(*(end + 5), "");
}

TEST_F(PageHeader, PlainPageTellsItsWholeStory) {
  current_options.brightness = 11;
  current_options.contrast = -22;
  current_options.saturation = 33;
  current_options.gamma = 1044;
  copy_text(current_options.color_correction, "Bright");
  EXPECT_THAT(
      decisions(header_6x4()),
      ElementsAre("K905-1: NORMAL MODE detected: 300x300 DPI",  //
                  "K905-1: Compression mode: 0",                //
                  "K905-1: Matched paper config by size: w288h432 (6x4)",
                  "  PPD size: 460.80x297.60 points",  //
                  "  Target size: 1844x1240 pixels",   //
                  "  Canvas size: 1920x1240 pixels",   //
                  "K905-1: Using paper config matched by size: 461x298 points",
                  "K905-1: RGB mode detected",  //
                  "K905-1: Image rotation setting: NO ROTATION",
                  "K905-1: Interlace mode: DISABLED (300 DPI)",
                  "K905-1: Current image adjustment settings:",
                  "  Brightness: 11, Contrast: -22, Saturation: 33, Gamma: 1044",
                  "  Image Type: Photo, Color Correction: Bright", "  Resolution: 300x300"));
  EXPECT_STREQ(current_options.paper_config->ppd_name, "w288h432");
  EXPECT_EQ(current_options.rotate_90, 0);
  EXPECT_EQ(current_options.interlace, 0);
  EXPECT_EQ(current_options.interlace_factor, 1);
  EXPECT_STREQ(current_options.resolution, "300x300");
  EXPECT_STREQ(current_options.color_model, "RGB");
  EXPECT_EQ(current_options.copies, 1);
}

TEST_F(PageHeader, InterlacedTurnedLargePageTellsItsWholeStory) {
  name_paper("w432h576");
  cups_page_header2_t header = header_6x4();
  header.HWResolution[1] = 600;
  header.cupsCompression = 3;
  header.Orientation = CUPS_ORIENT_90;
  header.cupsColorSpace = CUPS_CSPACE_K;
  header.NumCopies = 3;
  header.cupsWidth = 5001;
  header.cupsHeight = 2000;
  EXPECT_THAT(decisions(header),
              ElementsAre("K905-1: INTERLACED MODE detected: 300x600 DPI",
                          "K905-1: Compression mode: 3 (expected: 2 for interlace)",
                          "K905-1: Matched paper config by name: w432h576 (6x8)",
                          "  PPD size: 460.80x584.64 points",  //
                          "  Target size: 1844x2436 pixels",   //
                          "  Canvas size: 1920x2436 pixels",   //
                          "K905-1: Using paper config matched by PPD name: w432h576",
                          "K905-1: Paper target height: 2436 pixels",
                          "K905-1: Expected source height for interlace: 4872 pixels",
                          "K905-1: CUPS orientation indicates image rotation",
                          "K905-1: Monochrome mode detected, using Gray color model",
                          "K905-1: Copies setting: 3",
                          "K905-1: Large image detected (10002000 pixels), optimizing for "
                          "performance",
                          "K905-1: Image rotation setting: ROTATE 90° (within canvas)",
                          "K905-1: Interlace mode: ENABLED (300x600 DPI)",
                          "K905-1: Current image adjustment settings:",
                          "  Brightness: 0, Contrast: 0, Saturation: 0, Gamma: 1000",
                          "  Image Type: Photo, Color Correction: None", "  Resolution: 300x600"));
  EXPECT_STREQ(current_options.paper_config->ppd_name, "w432h576");
  EXPECT_EQ(current_options.rotate_90, 1);
  EXPECT_EQ(current_options.interlace, 1);
  EXPECT_EQ(current_options.interlace_factor, 2);
  EXPECT_STREQ(current_options.resolution, "300x600");
  EXPECT_STREQ(current_options.color_model, "Gray");
  EXPECT_EQ(current_options.copies, 3);
}

TEST_F(PageHeader, ARepeatedCallChangesNothing) {
  cups_page_header2_t header = header_6x4();
  header.HWResolution[1] = 600;
  header.Orientation = CUPS_ORIENT_270;
  header.NumCopies = 2;
  const std::vector<std::string> first_log = log_of(header);
  const auto first = decided();
  EXPECT_EQ(log_of(header), first_log);
  EXPECT_EQ(decided(), first);
}

// ---- Resolution
// -----------------------------------------------------------------------------------

TEST_F(PageHeader, UnknownResolutionsAreReportedAndPrintedAsNormalMode) {
  const struct {
    unsigned across;
    unsigned down;
    const char* line;
  } resolutions[] = {
      {600, 600, "K905-1: UNKNOWN resolution mode: 600x600 DPI"},
      {600, 300, "K905-1: UNKNOWN resolution mode: 600x300 DPI"},
      {300, 301, "K905-1: UNKNOWN resolution mode: 300x301 DPI"},
      {300, 0, "K905-1: UNKNOWN resolution mode: 300x0 DPI"},
      {0xFFFFFFFFU, 300, "K905-1: UNKNOWN resolution mode: -1x300 DPI"},
  };
  for (const auto& resolution : resolutions) {
    current_options.interlace = 1;  // as a page before may have left it
    current_options.interlace_factor = 2;
    copy_text(current_options.resolution, "what it was");
    cups_page_header2_t header = header_6x4();
    header.HWResolution[0] = resolution.across;
    header.HWResolution[1] = resolution.down;
    const std::vector<std::string> lines = decisions(header);
    EXPECT_EQ(lines.front(), resolution.line);
    EXPECT_THAT(lines, Not(Contains(StartsWith("K905-1: Compression mode"))));
    EXPECT_EQ(current_options.interlace, 0);
    EXPECT_EQ(current_options.interlace_factor, 1);
    EXPECT_STREQ(current_options.resolution, "what it was");
  }
}

TEST_F(PageHeader, ANormalPageAfterAnInterlacedOneIsNormalAgain) {
  cups_page_header2_t header = header_6x4();
  header.HWResolution[1] = 600;
  (void)log_of(header);
  header.HWResolution[1] = 300;
  (void)log_of(header);
  EXPECT_EQ(current_options.interlace, 0);
  EXPECT_EQ(current_options.interlace_factor, 1);
  EXPECT_STREQ(current_options.resolution, "300x300");
}

// ---- Paper
// ----------------------------------------------------------------------------------------

TEST_F(PageHeader, A6x8PageWithoutANameIsTakenForThe6x2StripsOfItsSize) {
  cups_page_header2_t header = header_6x4();
  header.PageSize[0] = 461;
  header.PageSize[1] = 585;
  EXPECT_THAT(decisions(header),
              Contains("K905-1: Matched paper config by size: w288h432-div2 (6x2*2)"));
  EXPECT_STREQ(current_options.paper_config->ppd_name, "w288h432-div2");
}

TEST_F(PageHeader, OnlyTheNameSelectsThe6x8Paper) {
  name_paper("w432h576");
  cups_page_header2_t header = header_6x4();
  header.PageSize[0] = 461;
  header.PageSize[1] = 585;
  EXPECT_THAT(decisions(header), Contains("K905-1: Matched paper config by name: w432h576 (6x8)"));
  EXPECT_STREQ(current_options.paper_config->ppd_name, "w432h576");
}

TEST_F(PageHeader, TheNameWinsOverAnySize) {
  name_paper("B7");
  const std::vector<std::string> lines = decisions(header_6x4());
  EXPECT_THAT(lines, Contains("K905-1: Using paper config matched by PPD name: B7"));
  EXPECT_THAT(lines, Not(Contains(StartsWith("K905-1: Using paper config matched by size"))));
  EXPECT_STREQ(current_options.paper_config->ppd_name, "B7");
}

TEST_F(PageHeader, AnUnknownNameFallsBackToTheSizeAndNotToTheDefault) {
  for (const char* name : {"w288h433", "6x8", "default", "W432H576"}) {
    name_paper(name);
    EXPECT_THAT(decisions(header_6x4()),
                Contains("K905-1: Matched paper config by size: w288h432 (6x4)"));
    EXPECT_STREQ(current_options.paper_config->ppd_name, "w288h432") << name;
  }
}

TEST_F(PageHeader, APortraitPageMatchesTurned) {
  cups_page_header2_t header = header_6x4();
  header.PageSize[0] = 297;
  header.PageSize[1] = 461;
  const std::vector<std::string> lines = decisions(header);
  EXPECT_THAT(lines, Contains("K905-1: Matched paper config by size: w288h432 (6x4)"));
  EXPECT_THAT(lines, Contains("K905-1: Using paper config matched by size: 297x461 points"));
  EXPECT_EQ(current_options.rotate_90, 0) << "the size says nothing about turning";
}

TEST_F(PageHeader, AnUnknownSizeTakesTheDefaultAndSaysItWasMatchedBySize) {
  current_options.paper_config = paper_sizes.data();
  cups_page_header2_t header = header_6x4();
  header.PageSize[0] = 612;
  header.PageSize[1] = 792;
  const std::vector<std::string> lines = decisions(header);
  const auto found =
      std::find(lines.begin(), lines.end(),
                "K905-1: No exact paper match found for 612x792 points, using default");
  ASSERT_NE(found, lines.end());
  EXPECT_EQ(*(found + 1), "K905-1: Using paper config matched by size: 612x792 points");
  EXPECT_THAT(lines, Not(Contains(StartsWith("  PPD size"))));
  EXPECT_EQ(current_options.paper_config, &paper_sizes.back());
}

TEST_F(PageHeader, APageOfNoSizeTakesTheDefaultBecauseNothingMatches) {
  cups_page_header2_t header = header_6x4();
  header.PageSize[0] = 0;
  header.PageSize[1] = 0;
  EXPECT_THAT(decisions(header),
              Contains("K905-1: No exact paper match found for 0x0 points, using default"));
  EXPECT_EQ(current_options.paper_config, &paper_sizes.back());
}

TEST_F(PageHeader, TheLastHeadersPaperIsInForce) {
  cups_page_header2_t header = header_6x4();
  (void)log_of(header);
  header.PageSize[1] = 370;
  (void)log_of(header);
  EXPECT_STREQ(current_options.paper_config->ppd_name, "w360h360");
}

// ---- Orientation
// ----------------------------------------------------------------------------------

TEST_F(PageHeader, LandscapeBothWaysIsTurnedAndNothingElseIs) {
  const struct {
    std::int32_t orientation;
    std::int32_t rotate_90;
  } orientations[] = {{0, 0}, {1, 1}, {2, 0}, {3, 1}, {4, 0}, {5, 0}, {-1, 0}};
  for (const auto& [orientation, rotate_90] : orientations) {
    cups_page_header2_t header = header_6x4();
    set_number(header.Orientation, orientation);
    const std::vector<std::string> lines = decisions(header);
    EXPECT_EQ(current_options.rotate_90, rotate_90) << orientation;
    const std::string line = "K905-1: CUPS orientation indicates image rotation";
    EXPECT_EQ(std::count(lines.begin(), lines.end(), line), rotate_90) << orientation;
  }
}

// ---- Color model
// ---------------------------------------------------------------------------------

TEST_F(PageHeader, EachColorSpaceChoosesItsModel) {
  const struct {
    std::int32_t color_space;
    const char* color_model;
    const char* line;
  } spaces[] = {
      {0, "Gray", "K905-1: Monochrome mode detected, using Gray color model"},
      {1, "RGB", "K905-1: RGB mode detected"},
      {2, "RGB", "K905-1: RGBA mode detected, using RGB color model"},
      {3, "Gray", "K905-1: Monochrome mode detected, using Gray color model"},
      {4, "CMY", "K905-1: CMYK/YMCK mode detected, using CMY color model"},
      {5, "CMY", "K905-1: CMYK/YMCK mode detected, using CMY color model"},
  };
  for (const auto& space : spaces) {
    copy_text(current_options.color_model, "KCMY");
    cups_page_header2_t header = header_6x4();
    set_number(header.cupsColorSpace, space.color_space);
    EXPECT_THAT(decisions(header), Contains(space.line)) << space.color_space;
    EXPECT_STREQ(current_options.color_model, space.color_model) << space.color_space;
  }
}

TEST_F(PageHeader, AnUnknownColorSpaceSaysRgbButKeepsTheModelOfTheOptions) {
  const struct {
    std::int32_t color_space;
    const char* line;
  } spaces[] = {
      {6, "K905-1: Unknown color space 6, using default RGB"},
      {7, "K905-1: Unknown color space 7, using default RGB"},
      {19, "K905-1: Unknown color space 19, using default RGB"},
      {1000, "K905-1: Unknown color space 1000, using default RGB"},
      {-1, "K905-1: Unknown color space -1, using default RGB"},
  };
  for (const auto& space : spaces) {
    copy_text(current_options.color_model, "Gray");
    cups_page_header2_t header = header_6x4();
    set_number(header.cupsColorSpace, space.color_space);
    EXPECT_THAT(decisions(header), Contains(space.line));
    EXPECT_STREQ(current_options.color_model, "Gray") << space.color_space;
  }
}

// ---- Copies
// ---------------------------------------------------------------------------------------

TEST_F(PageHeader, ACopyCountBelowTwoLeavesTheNumberThatCameBefore) {
  cups_page_header2_t header = header_6x4();
  header.NumCopies = 3;
  EXPECT_THAT(decisions(header), Contains("K905-1: Copies setting: 3"));
  for (const unsigned few : {1U, 0U}) {
    header.NumCopies = few;
    EXPECT_THAT(decisions(header), Not(Contains(StartsWith("K905-1: Copies setting"))));
    EXPECT_EQ(current_options.copies, 3) << few;
  }
}

TEST_F(PageHeader, TwoCopiesAreStored) {
  cups_page_header2_t header = header_6x4();
  header.NumCopies = 2;
  EXPECT_THAT(decisions(header), Contains("K905-1: Copies setting: 2"));
  EXPECT_EQ(current_options.copies, 2);
}

TEST_F(PageHeader, CopyCountsBeyondTheSettingSaturate) {
  cups_page_header2_t header = header_6x4();
  for (const unsigned many : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    header.NumCopies = many;
    EXPECT_THAT(decisions(header), Contains("K905-1: Copies setting: 2147483647"));
    EXPECT_EQ(current_options.copies, 2147483647);
  }
}

// ---- Large images
// ---------------------------------------------------------------------------------

TEST_F(PageHeader, TenMillionPixelsAreNotYetLarge) {
  cups_page_header2_t header = header_6x4();
  header.cupsWidth = 2500;
  header.cupsHeight = 4000;
  EXPECT_THAT(decisions(header), Not(Contains(StartsWith("K905-1: Large image"))));
  header.cupsWidth = 10000001;
  header.cupsHeight = 1;
  EXPECT_THAT(decisions(header),
              Contains("K905-1: Large image detected (10000001 pixels), optimizing for "
                       "performance"));
}

// (2^32 - 1)^2 = 2^64 - 2^33 + 1
TEST_F(PageHeader, PixelsAreCountedIn64Bits) {
  cups_page_header2_t header = header_6x4();
  header.cupsWidth = 0xFFFFFFFFU;
  header.cupsHeight = 0xFFFFFFFFU;
  EXPECT_THAT(decisions(header),
              Contains("K905-1: Large image detected (18446744065119617025 pixels), optimizing "
                       "for performance"));
}

}  // namespace
