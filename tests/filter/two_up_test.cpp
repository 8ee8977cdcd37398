// Pairing of pages. The output is parsed by the printer stream parser.
#include "filter/two_up.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "apps/wire/printer_stream.h"
#include "paper/paper_table.h"
#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"
#include "tests/support/reference_state.h"

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

  // Row `r` of plane `p` of a sheet.
  static Bytes row(const k905::Sheet& sheet, std::size_t p, std::size_t r) {
    const auto begin = sheet.plane[p].begin() + static_cast<std::ptrdiff_t>(r * sheet.width);
    return {begin, begin + sheet.width};
  }

  // Row `r` of plane `p` of the page with this number, which is as wide as the sheet.
  static Bytes expected_row(int number, std::size_t p, std::size_t r) {
    Bytes bytes(1920);
    for (std::size_t c = 0; c < bytes.size(); ++c) {
      bytes[c] = pixel(number, p, r, c);
    }
    return bytes;
  }

  EnvironmentGuard ppd_{"PPD", ""};
  SettingsGuard settings_;
  std::string log_;
};

// The calls of a test program are numbered over all tests.
std::vector<std::string> without_call_numbers(const std::vector<std::string>& log) {
  std::vector<std::string> lines;
  for (const std::string& line : log) {
    lines.push_back(std::regex_replace(line, std::regex("([Cc][Aa][Ll][Ll]) #[0-9]+"), "$1 #"));
  }
  return lines;
}

reference::Image image_of(const SheetImage& sheet) {
  reference::Image image = reference::make_image(sheet.width, sheet.height);
  for (std::size_t p = 0; p < 3; ++p) {
    std::copy_n(sheet.planes.plane[p].get(), image.plane[p].size(), image.plane[p].begin());
  }
  return image;
}

std::string size_of(const SheetImage& sheet) {
  return std::to_string(sheet.width) + "x" + std::to_string(sheet.height);
}

// Both pages of a sheet are laid out by the size of the first.
TEST_F(TwoUp, TwoPagesShareTheSheetOfTheReference) {
  const std::int32_t sizes[][2][2] = {
      {{1920, 1240}, {1920, 1240}},  // the pages of real jobs
      {{1844, 100}, {1844, 100}},    // narrow pages are centered
      {{1920, 2480}, {1920, 2480}},  // rows below the sheet are cut off
      {{1920, 50}, {1900, 20}},      // the second page is padded
      {{1900, 20}, {1920, 50}},      // and cropped
  };
  for (const auto& [held, partner] : sizes) {
    SCOPED_TRACE(std::to_string(held[1]) + " and " + std::to_string(partner[1]) + " rows");
    const SheetImage& top = page(1, held[0], held[1]);
    const SheetImage& bottom = page(2, partner[0], partner[1]);
    std::string output;
    const std::string log = captured_log([&] {
      output = captured_output([&] {
        store_odd_page(top, 1);
        merge_even_page(bottom, 2);
      });
    });
    const ReferenceJob job;
    reference::PlainFilter plain(job);
    plain.log = {
        "K905-1: Page 1 is ODD - storing in buffer",
        "K905-1: Page 2 is EVEN - merging with buffered ODD page",
        "K905-1: Merging ODD page (" + size_of(top) + ") with EVEN page (" + size_of(bottom) + ")",
        "K905-1: Merging two 6x4 pages to 6x8 (width=" + std::to_string(top.width) +
            ", height=" + std::to_string(top.height) + ")"};
    EXPECT_TRUE(plain.merge(image_of(top), image_of(bottom)));
    std::erase_if(plain.log, [](const std::string& line) {
      return line.starts_with("K905-1: Saved debug image");  // the reference runs by hand
    });
    EXPECT_TRUE(output == plain.output);
    EXPECT_EQ(without_call_numbers(lines_of(log)), without_call_numbers(plain.log));
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
  const SheetImage& complete = page(1, 10, 10);
  SheetImage& incomplete = page(2, 10, 10);
  incomplete.planes.plane[1] = nullptr;
  const std::string message = "K905-1: ERROR: Null pointers in merge function\n";
  EXPECT_EQ(captured_log([&] { EXPECT_FALSE(merge_two_up(incomplete, complete)); }), message);
  EXPECT_EQ(captured_log([&] { EXPECT_FALSE(merge_two_up(complete, incomplete)); }), message);
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
  EXPECT_EQ(row(sent[0], 0, 0), expected_row(1, 0, 0));
  EXPECT_EQ(sent[1].height, 2498U);
  EXPECT_EQ(sent[2].height, 40U);
  EXPECT_EQ(row(sent[2], 0, 0), expected_row(2, 0, 0));
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
  EXPECT_EQ(row(sent[0], 2, 24), expected_row(3, 2, 24));
  EXPECT_TRUE(
      log_.starts_with("K905-1: Page 3 is ODD - storing in buffer\n"
                       "K905-1: Program end - found buffered ODD page (single 6x4)\n"))
      << log_;
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
