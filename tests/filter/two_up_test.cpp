// Pairing of pages. The output is parsed by the printer stream parser.
#include "filter/two_up.h"

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include "apps/wire/printer_stream.h"
#include "paper/paper_table.h"
#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// A page in which the value of each pixel encodes its row r, column c, plane p and page.
std::uint8_t pixel(int page, std::size_t plane, std::size_t row, std::size_t column) {
  return static_cast<std::uint8_t>(
      (static_cast<std::size_t>(page) * 101 + plane * 53 + row * 7 + column * 3) % 251);
}

// The pages of a test; they must exist as long as a page may be held.
std::deque<SheetImage> pages;

SheetImage& page(int number, std::int32_t width, std::int32_t height) {
  SheetImage& image = pages.emplace_back();
  image.width = width;
  image.height = height;
  const auto w = static_cast<std::size_t>(width);
  const auto h = static_cast<std::size_t>(height);
  EXPECT_TRUE(make_planes(image.planes, w, h));
  for (std::size_t p = 0; p < 3; ++p) {
    for (std::size_t r = 0; r < h; ++r) {
      for (std::size_t c = 0; c < w; ++c) {
        image.planes.plane[p][r * w + c] = pixel(number, p, r, c);
      }
    }
  }
  return image;
}

class TwoUp : public ::testing::Test {
 protected:
  ~TwoUp() override {
    drop_held_page();
    pages.clear();
  }

  // Runs `code`; stores its log in log_ and returns the sheets that it sent.
  template <typename Code>
  std::vector<k905::Sheet> sheets(Code code) {
    const std::string stream = captured_output([&] { log_ = captured_log([&] { code(); }); });
    k905::ParsedStream parsed = k905::parse_printer_stream(
        reinterpret_cast<const std::uint8_t*>(stream.data()), stream.size());
    EXPECT_FALSE(parsed.error.has_value());
    return std::move(parsed.sheets);
  }

  // The lines of the log about pairing (without the lines of sheets).
  [[nodiscard]] std::string pairing_log() const {
    std::string text;
    for (const std::string& line : lines_of(log_)) {
      if (line.find("PRINT CALL") == std::string::npos &&
          line.find("Printing single page") == std::string::npos &&
          line.find("DEBUG: ") == std::string::npos && line.find("send ") == std::string::npos &&
          line.find("Single page printed") == std::string::npos &&
          line.find("setting cutMode") == std::string::npos) {
        text += line + "\n";
      }
    }
    return text;
  }

  // Row `r` of plane `p` of a sheet.
  static Bytes row(const k905::Sheet& sheet, std::size_t p, std::size_t r) {
    const auto begin = sheet.plane[p].begin() + static_cast<std::ptrdiff_t>(r * sheet.width);
    return {begin, begin + sheet.width};
  }

  // The expected row of the sheet: row `r` of a page, `width` wide and centered, or white.
  static Bytes expected_row(int number, std::size_t p, std::size_t r, std::size_t width) {
    Bytes bytes(1920, 255);
    for (std::size_t c = 0; c < width; ++c) {
      bytes[(1920 - width) / 2 + c] = pixel(number, p, r, c);
    }
    return bytes;
  }

  EnvironmentGuard ppd_{"PPD", ""};
  SettingsGuard settings_;
  std::string log_;
};

TEST_F(TwoUp, TwoPagesShareASheetWithEighteenWhiteRowsBetween) {
  const std::vector<k905::Sheet> sent = sheets([] {
    store_odd_page(page(1, 1920, 1240), 1);
    merge_even_page(page(2, 1920, 1240), 2);
  });
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(sent[0].width, 1920U);
  EXPECT_EQ(sent[0].height, 2498U);
  const Bytes white(1920, 255);
  for (std::size_t p = 0; p < 3; ++p) {
    for (std::size_t r = 0; r < 2498; ++r) {
      // Rows 0 to 1234 are page 1 from its row 5 on, 1253 to 2492 are page 2, all else is white.
      const Bytes expected = r <= 1234                ? expected_row(1, p, r + 5, 1920)
                             : r >= 1253 && r <= 2492 ? expected_row(2, p, r - 1253, 1920)
                                                      : white;
      ASSERT_EQ(row(sent[0], p, r), expected) << "plane " << p << " row " << r;
    }
  }
  EXPECT_EQ(pairing_log(),
            "K905-1: Page 1 is ODD - storing in buffer\n"
            "K905-1: Page 2 is EVEN - merging with buffered ODD page\n"
            "K905-1: Merging ODD page (1920x1240) with EVEN page (1920x1240)\n"
            "K905-1: Merging two 6x4 pages to 6x8 (width=1920, height=1240)\n"
            "K905-1: Saving input 6x4 images for debugging...\n"
            "K905-1: Merging 6x4 images: input size=1920x1240, simple center merge with 18px gap\n"
            "K905-2: Merged 6x4 images (simple center merge) 1920x2498, src 1920x1240\n"
            "        Top: offset_y=-5, offset_x=0\n"
            "        Bottom: offset_y=1253, offset_x=0\n"
            "        Gap: 18px\n"
            "K905-1: Successfully merged to 6x8 (1920x2498)\n");
}

TEST_F(TwoUp, NarrowPagesAreCentered) {
  const std::vector<k905::Sheet> sent = sheets([] {
    store_odd_page(page(1, 1844, 100), 1);
    merge_even_page(page(2, 1844, 100), 2);
  });
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(row(sent[0], 0, 0), expected_row(1, 0, 5, 1844));    // offset_x = (1920 - 1844) / 2
  EXPECT_EQ(row(sent[0], 2, 113), expected_row(2, 2, 0, 1844));  // 100 + 13
  EXPECT_NE(log_.find("        Top: offset_y=-5, offset_x=38\n"), std::string::npos);
  EXPECT_NE(log_.find("        Bottom: offset_y=113, offset_x=38\n"), std::string::npos);
}

TEST_F(TwoUp, RowsBelowTheSheetAreCutOff) {
  const std::vector<k905::Sheet> sent = sheets([] {
    store_odd_page(page(1, 1920, 2480), 1);
    merge_even_page(page(2, 1920, 2480), 2);
  });
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(row(sent[0], 1, 2474), expected_row(1, 1, 2479, 1920));
  EXPECT_EQ(row(sent[0], 1, 2492), Bytes(1920, 255));
  for (std::size_t r = 0; r < 5; ++r) {
    EXPECT_EQ(row(sent[0], 1, 2493 + r), expected_row(2, 1, r, 1920));
  }
}

TEST_F(TwoUp, HeldPageSetsTheLayoutAndItsPartnerIsPaddedOrCropped) {
  const struct {
    std::int32_t held[2];
    std::int32_t partner[2];
    std::size_t offset;  // of the columns
    std::size_t row;     // of the partner's row 19
  } cases[] = {{{1920, 50}, {1900, 20}, 0, 63 + 19}, {{1900, 20}, {1920, 50}, 10, 33 + 19}};
  for (const auto& [held, partner, offset, last] : cases) {
    const std::vector<k905::Sheet> sent = sheets([&held = held, &partner = partner] {
      store_odd_page(page(1, held[0], held[1]), 1);
      merge_even_page(page(2, partner[0], partner[1]), 2);
    });
    ASSERT_EQ(sent.size(), 1U);
    Bytes expected(1920, 255);
    for (std::size_t c = 0; c < 1900; ++c) {
      expected[offset + c] = pixel(2, 0, 19, c);
    }
    EXPECT_EQ(row(sent[0], 0, last), expected);
    EXPECT_EQ(row(sent[0], 0, last + 1), Bytes(1920, 255));
  }
}

TEST_F(TwoUp, HeldPageThatIsTooWideOrEmptyIsNotMerged) {
  for (const auto& [width, height] : {std::pair(1921, 10), std::pair(1920, 0)}) {
    const std::vector<k905::Sheet> sent = sheets([w = width, h = height] {
      store_odd_page(page(1, w, h), 1);
      merge_even_page(page(2, 1920, 12), 2);
    });
    // A sheet of height 0 is refused when it is sent.
    ASSERT_EQ(sent.size(), height > 0 ? 2U : 1U);
    EXPECT_EQ(sent.back().height, 12U);
    EXPECT_EQ(sent.front().width, height > 0 ? 1921U : 1920U);
    EXPECT_NE(
        log_.find("K905-1: Failed to merge pages\nK905-1: Merge failed, printing separately\n"),
        std::string::npos);
  }
}

TEST_F(TwoUp, MissingPlanesAreReported) {
  const SheetImage& whole = page(1, 10, 10);
  SheetImage& broken = page(2, 10, 10);
  broken.planes.plane[1] = nullptr;
  const std::string message = "K905-1: ERROR: Null pointers in merge function\n";
  EXPECT_EQ(captured_log([&] { EXPECT_FALSE(merge_two_up(broken, whole)); }), message);
  EXPECT_EQ(captured_log([&] { EXPECT_FALSE(merge_two_up(whole, broken)); }), message);
}

TEST_F(TwoUp, CopiesAreHeldAndMergedInTheirOrder) {
  // Copy 1 of page 1 is held; copy 2 causes it to be printed alone. Copy 1 of page 2 merges with
  // copy 2 of page 1; for copy 2 of page 2 there is no partner, and it is printed alone.
  const std::vector<k905::Sheet> sent = sheets([] {
    const SheetImage& first = page(1, 1920, 40);
    store_odd_page(first, 1);
    store_odd_page(first, 1);
    const SheetImage& second = page(2, 1920, 40);
    merge_even_page(second, 2);
    merge_even_page(second, 2);
    print_held_page();
  });
  ASSERT_EQ(sent.size(), 3U);
  EXPECT_EQ(sent[0].height, 40U);
  EXPECT_EQ(row(sent[0], 0, 0), expected_row(1, 0, 0, 1920));
  EXPECT_EQ(sent[1].height, 2498U);
  EXPECT_EQ(sent[2].height, 40U);
  EXPECT_EQ(row(sent[2], 0, 0), expected_row(2, 0, 0, 1920));
  EXPECT_NE(log_.find("K905-1: Buffer already has image, printing it first\n"), std::string::npos);
  EXPECT_NE(log_.find("K905-1: Page 2 is EVEN but no buffered ODD page - printing single\n"),
            std::string::npos);
}

TEST_F(TwoUp, HeldPageIsPrintedAtTheEndOfTheJob) {
  const std::vector<k905::Sheet> sent = sheets([] {
    store_odd_page(page(3, 1920, 25), 3);
    print_held_page();
    print_held_page();  // nothing is left
  });
  ASSERT_EQ(sent.size(), 1U);
  EXPECT_EQ(row(sent[0], 2, 24), expected_row(3, 2, 24, 1920));
  EXPECT_EQ(pairing_log(),
            "K905-1: Page 3 is ODD - storing in buffer\n"
            "K905-1: Program end - found buffered ODD page (single 6x4)\n");
}

TEST_F(TwoUp, HeldPageOfACanceledJobIsDropped) {
  EXPECT_TRUE(sheets([] {
                store_odd_page(page(1, 1920, 25), 1);
                drop_held_page();
                print_held_page();
              }).empty());
}

TEST_F(TwoUp, MergeModeNeedsTheLargeRibbonAndA6x4Paper) {
  const auto decided = [this](const char* ribbon, const PaperConfig* paper) {
    std::strcpy(current_options.ribbon_size, ribbon);
    current_options.paper_config = paper;
    bool on = false;
    log_ = captured_log([&] { on = decide_merge_mode(); });
    return on;
  };
  EXPECT_TRUE(decided("6x8", find_paper_by_ppd_name("w288h432")));
  EXPECT_EQ(log_,
            "K905-1: ENABLING merge mode: 6x8 ribbon + 6x4 paper\n"
            "K905-1:   Ribbon size: 6x8\n"
            "K905-1:   Paper name: w288h432\n");
  EXPECT_TRUE(decided("6x8", find_paper_by_ppd_name("w288h432-div2")));  // contains the name
  EXPECT_FALSE(decided("6x8", find_paper_by_ppd_name("w432h576")));
  EXPECT_FALSE(decided("6x4", find_paper_by_ppd_name("w288h432")));
  EXPECT_EQ(log_,
            "K905-1: DISABLING merge mode: ribbon=6x4, paper=w288h432\n"
            "K905-1:   Direct print mode (no caching)\n");
}

TEST_F(TwoUp, WithoutAPaperRowThePaperNameDecides) {
  current_options.paper_config = nullptr;
  std::strcpy(current_options.ribbon_size, "6x8");
  std::strcpy(current_options.ppd_paper_name, "Custom.4x6in");
  captured_log([] { EXPECT_TRUE(decide_merge_mode()); });
  std::strcpy(current_options.ppd_paper_name, "6x4*2");
  captured_log([] { EXPECT_TRUE(decide_merge_mode()); });
  current_options.ppd_paper_name[0] = '\0';
  EXPECT_EQ(captured_log([] { EXPECT_FALSE(decide_merge_mode()); }),
            "K905-1: DISABLING merge mode: ribbon=6x8, paper=unknown\n"
            "K905-1:   Direct print mode (no caching)\n");
}

}  // namespace
