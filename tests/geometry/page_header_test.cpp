// Page headers: the listing, the resulting settings and the log lines are those of the reference.
#include "geometry/page_header.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "paper/paper_table.h"
#include "settings/option_values.h"
#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"
#include "tests/support/raster_builder.h"
#include "tests/support/settings_difference.h"

namespace {

// The headers of a test are those of successive pages.
class PageHeader : public testing::Test {
 protected:
  PageHeader() { current_options = PrintOptions{.paper_config = &paper_sizes.back()}; }

  void name_paper(const char* name) {
    copy_text(current_options.ppd_paper_name, name);
    plain_.settings.ppd_paper_name = name;
  }
  void choose_color_model(const char* name) {
    copy_text(current_options.color_model, name);
    plain_.settings.color_model = name;
  }

  void expect_like_reference(const cups_page_header2_t& header) {
    plain_.log.clear();
    plain_.interpret_header(header);
    EXPECT_EQ(lines_of(captured_log([&] { extract_print_params_from_header(&header); })),
              plain_.log);
    EXPECT_EQ(different_settings(current_options, plain_.settings), "");
  }

  void expect_size_like_reference(unsigned width_pt, unsigned height_pt) {
    cups_page_header2_t header = header_6x4();
    header.PageSize[0] = width_pt;
    header.PageSize[1] = height_pt;
    expect_like_reference(header);
  }

  // A 6x4 page as a print queue sends it: 8-bit RGB at 300x300 dpi, one copy, upright.
  static cups_page_header2_t header_6x4() { return page_header(1920, 1240); }

 private:
  SettingsGuard settings_;
  ReferenceJob job_;
  reference::PlainFilter plain_{job_};
};

TEST_F(PageHeader, NullIsIgnored) {
  EXPECT_EQ(captured_log([] { extract_print_params_from_header(nullptr); }), "");
  EXPECT_EQ(different_settings(current_options, {}), "");
}

TEST_F(PageHeader, InterlacedRotatedLargeGrayPageIsLikeTheReference) {
  name_paper("w432h576");
  cups_page_header2_t header = header_6x4();
  header.HWResolution[1] = 600;
  header.cupsCompression = 3;
  header.Orientation = CUPS_ORIENT_90;
  header.cupsColorSpace = CUPS_CSPACE_K;
  header.NumCopies = 3;
  header.cupsWidth = 5001;
  header.cupsHeight = 2000;
  expect_like_reference(header);
  expect_like_reference(header_6x4());
}

TEST_F(PageHeader, UnknownResolutionIsLoggedAndPrintedAsNormalMode) {
  const unsigned resolutions[][2] = {
      {600, 600}, {600, 300}, {300, 301}, {300, 0}, {0xFFFFFFFFU, 300}};
  for (const auto& [across, down] : resolutions) {
    cups_page_header2_t header = header_6x4();
    header.HWResolution[1] = 600;
    expect_like_reference(header);  // sets what the next page resets
    header.HWResolution[0] = across;
    header.HWResolution[1] = down;
    expect_like_reference(header);
    EXPECT_EQ(current_options.interlace, 0);
    EXPECT_STREQ(current_options.resolution, "300x600") << "the resolution is kept";
  }
}

TEST_F(PageHeader, PaperOf6x8NeedsItsNameAndIsOtherwiseTakenForStripsOfItsSize) {
  expect_size_like_reference(461, 585);
  EXPECT_STREQ(current_options.paper_config->ppd_name, "w288h432-div2");
  name_paper("w432h576");
  expect_size_like_reference(461, 585);
  EXPECT_STREQ(current_options.paper_config->ppd_name, "w432h576");
}

TEST_F(PageHeader, UnknownPaperNameFallsBackToTheSize) {
  for (const char* name : {"w288h433", "6x8", "default", "W432H576"}) {
    name_paper(name);
    expect_like_reference(header_6x4());
    EXPECT_STREQ(current_options.paper_config->ppd_name, "w288h432") << name;
  }
}

TEST_F(PageHeader, PortraitPageMatchesARotatedPaperWithoutARotation) {
  expect_size_like_reference(297, 461);
  EXPECT_STREQ(current_options.paper_config->ppd_name, "w288h432");
  EXPECT_EQ(current_options.rotate_90, 0);
}

TEST_F(PageHeader, UnknownSizeGivesTheDefaultAndIsLoggedAsMatchedBySize) {
  expect_like_reference(header_6x4());
  expect_size_like_reference(612, 792);
  EXPECT_EQ(current_options.paper_config, &paper_sizes.back());
}

TEST_F(PageHeader, UnknownColorSpaceIsLoggedAsRgbButKeepsTheModel) {
  for (const std::int32_t space : {6, 7, 19, 1000, -1}) {
    choose_color_model("Gray");
    cups_page_header2_t header = header_6x4();
    // Any number, as a stream can contain it.
    std::memcpy(&header.cupsColorSpace, &space, sizeof space);
    expect_like_reference(header);
    EXPECT_STREQ(current_options.color_model, "Gray") << space;
  }
}

TEST_F(PageHeader, CopyCountBelowTwoKeepsThePreviousNumberAndALargeOneSaturates) {
  for (const unsigned copies : {3U, 1U, 0U, 0x7FFFFFFFU, 0x80000000U, 2U, 0xFFFFFFFFU}) {
    cups_page_header2_t header = header_6x4();
    header.NumCopies = copies;
    expect_like_reference(header);
  }
  EXPECT_EQ(current_options.copies, 2147483647);
}

TEST_F(PageHeader, ImageIsLargeAboveTenMillionPixels) {
  const unsigned sizes[][2] = {{2500, 4000}, {10000001, 1}, {0xFFFFFFFFU, 0xFFFFFFFFU}};
  for (const auto& [width, height] : sizes) {
    cups_page_header2_t header = header_6x4();
    header.cupsWidth = width;
    header.cupsHeight = height;
    expect_like_reference(header);
  }
}

// ---- Random headers -----------------------------------------------------------------------------

constexpr std::size_t kFirstNumber = offsetof(cups_page_header2_t, AdvanceDistance);
constexpr std::size_t kEndOfNumbers = offsetof(cups_page_header2_t, cupsString);

class RandomHeaders : public PageHeader {
 protected:
  unsigned below(unsigned limit) { return static_cast<unsigned>(random_()) % limit; }

  unsigned any_number() {
    constexpr unsigned kExtreme[] = {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU, 2000000000U, 10000001U};
    switch (below(8)) {
      case 0:
        return kExtreme[below(5)];
      case 1:
        return static_cast<unsigned>(random_());
      default:
        return below(9);
    }
  }

  cups_page_header2_t any_header() {
    cups_page_header2_t header = header_6x4();
    if (below(8) == 0) {
      std::memset(header.MediaClass, 'c', sizeof header.MediaClass);  // no terminating NUL
      std::strcpy(header.MediaType, "a\nPAGE: 1 1\rb");
    }
    auto* const bytes = reinterpret_cast<unsigned char*>(&header);
    for (std::size_t at = kFirstNumber; at < kEndOfNumbers; at += sizeof(unsigned)) {
      const unsigned number = any_number();
      if (below(2) == 0) std::memcpy(bytes + at, &number, sizeof number);
    }
    if (below(2) == 0) {
      const unsigned resolutions[] = {300, 600, 301, 0};
      header.HWResolution[0] = resolutions[below(2)];
      header.HWResolution[1] = resolutions[below(4)];
    }
    const PaperConfig& paper = paper_sizes[below(paper_sizes.size())];
    header.PageSize[0] = static_cast<unsigned>(paper.page_width_pt) + below(12);
    header.PageSize[1] = static_cast<unsigned>(paper.page_height_pt) + below(2);
    if (below(3) == 0) std::swap(header.PageSize[0], header.PageSize[1]);
    header.cupsBorderlessScalingFactor = 1.25F;
    return header;
  }

  std::mt19937 random_{905};
};

TEST_F(RandomHeaders, AreLikeTheReference) {
  choose_color_model("KCMY");
  for (int round = 0; round < 2000; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    if (below(10) == 0) {
      const char* const names[] = {"", "w432h576", "B7", "default", "W432H576", "6x8"};
      name_paper(names[below(6)]);
    }
    expect_like_reference(any_header());
    ASSERT_FALSE(HasFailure());
  }
}

}  // namespace
