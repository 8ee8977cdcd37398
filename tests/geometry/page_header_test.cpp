// The settings that result from the header of a page, and its log lines. The listing is compared in
// random_headers_test.

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

  // All settings that result from a header.
  using Decided = std::tuple<std::string, int, int, int, std::string, std::string, int>;
  static Decided decided() {
    const PrintOptions& o = current_options;
    return {o.paper_config->ppd_name,
            o.rotate_90,
            o.interlace,
            o.interlace_factor,
            o.resolution,
            o.color_model,
            o.copies};
  }

  static void name_paper(const char* name) { copy_text(current_options.ppd_paper_name, name); }

 private:
  SettingsGuard settings_;
};

TEST_F(PageHeader, NullIsIgnored) {
  const Decided before = decided();
  EXPECT_EQ(captured_log([] { extract_print_params_from_header(nullptr); }), "");
  EXPECT_EQ(decided(), before);
}

TEST_F(PageHeader, PlainPageSetsItsDecisionsAndLogsThem) {
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
  EXPECT_EQ(decided(), (Decided{"w288h432", 0, 0, 1, "300x300", "RGB", 1}));
}

TEST_F(PageHeader, InterlacedRotatedLargePageSetsItsDecisionsAndLogsThem) {
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
  EXPECT_EQ(decided(), (Decided{"w432h576", 1, 1, 2, "300x600", "Gray", 3}));
}

TEST_F(PageHeader, UnknownResolutionIsReportedAndPrintedAsNormalMode) {
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
    current_options.interlace = 1;  // as set by a previous page
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

TEST_F(PageHeader, PaperOf6x8NeedsItsNameAndIsElseTakenForTheStripsOfItsSize) {
  cups_page_header2_t header = header_6x4();
  header.PageSize[0] = 461;
  header.PageSize[1] = 585;
  EXPECT_THAT(decisions(header),
              Contains("K905-1: Matched paper config by size: w288h432-div2 (6x2*2)"));
  name_paper("w432h576");
  EXPECT_THAT(decisions(header), Contains("K905-1: Matched paper config by name: w432h576 (6x8)"));
  EXPECT_STREQ(current_options.paper_config->ppd_name, "w432h576");
}

TEST_F(PageHeader, UnknownPaperNameFallsBackToTheSize) {
  for (const char* name : {"w288h433", "6x8", "default", "W432H576"}) {
    name_paper(name);
    EXPECT_THAT(decisions(header_6x4()),
                Contains("K905-1: Matched paper config by size: w288h432 (6x4)"));
    EXPECT_STREQ(current_options.paper_config->ppd_name, "w288h432") << name;
  }
}

TEST_F(PageHeader, PortraitPageMatchesARotatedPaper) {
  cups_page_header2_t header = header_6x4();
  header.PageSize[0] = 297;
  header.PageSize[1] = 461;
  const std::vector<std::string> lines = decisions(header);
  EXPECT_THAT(lines, Contains("K905-1: Matched paper config by size: w288h432 (6x4)"));
  EXPECT_THAT(lines, Contains("K905-1: Using paper config matched by size: 297x461 points"));
  EXPECT_EQ(current_options.rotate_90, 0) << "the size does not decide the rotation";
}

TEST_F(PageHeader, UnknownSizeGivesTheDefaultAndIsLoggedAsMatchedBySize) {
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

TEST_F(PageHeader, UnknownColorSpaceIsLoggedAsRgbButKeepsTheModel) {
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

TEST_F(PageHeader, CopyCountBelowTwoKeepsTheNumberBefore) {
  cups_page_header2_t header = header_6x4();
  header.NumCopies = 3;
  EXPECT_THAT(decisions(header), Contains("K905-1: Copies setting: 3"));
  for (const unsigned few : {1U, 0U}) {
    header.NumCopies = few;
    EXPECT_THAT(decisions(header), Not(Contains(StartsWith("K905-1: Copies setting"))));
    EXPECT_EQ(current_options.copies, 3) << few;
  }
}

TEST_F(PageHeader, CopyCountSaturates) {
  cups_page_header2_t header = header_6x4();
  for (const unsigned many : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    header.NumCopies = many;
    EXPECT_THAT(decisions(header), Contains("K905-1: Copies setting: 2147483647"));
    EXPECT_EQ(current_options.copies, 2147483647);
  }
}

TEST_F(PageHeader, ImageIsLargeAboveTenMillionPixels) {
  cups_page_header2_t header = header_6x4();
  header.cupsWidth = 2500;
  header.cupsHeight = 4000;
  EXPECT_THAT(decisions(header), Not(Contains(StartsWith("K905-1: Large image"))));
  header.cupsWidth = 0xFFFFFFFFU;  // (2^32 - 1)^2 = 2^64 - 2^33 + 1
  header.cupsHeight = 0xFFFFFFFFU;
  EXPECT_THAT(decisions(header),
              Contains("K905-1: Large image detected (18446744065119617025 pixels), optimizing for "
                       "performance"));
}

}  // namespace
