// Page headers with random content: the listing, the decisions and their log lines are those of the
// reference.
#include <gtest/gtest.h>

#include <random>

#include "geometry/page_header.h"
#include "geometry/page_layout.h"
#include "paper/paper_table.h"
#include "settings/option_values.h"
#include "tests/geometry/page_headers.h"
#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"
#include "tests/support/reference_state.h"

namespace {

constexpr std::size_t kFirstNumber = offsetof(cups_page_header2_t, AdvanceDistance);
constexpr std::size_t kEndOfNumbers = offsetof(cups_page_header2_t, cupsString);

class RandomHeaders : public testing::Test {
 protected:
  unsigned below(unsigned limit) { return static_cast<unsigned>(random_()) % limit; }

  unsigned any_number() {
    constexpr unsigned kOdd[] = {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU, 2000000000U, 10000001U};
    switch (below(8)) {
      case 0:
        return kOdd[below(5)];
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

  SettingsGuard settings_;
  std::mt19937 random_{905};
};

TEST_F(RandomHeaders, AreLoggedAndDecidedAsByTheReference) {
  const ReferenceJob job;
  reference::PlainFilter plain(job);
  plain.settings.color_model = "KCMY";
  copy_text(current_options.color_model, "KCMY");
  for (int round = 0; round < 2000; ++round) {
    if (below(10) == 0) {
      const char* const names[] = {"", "w432h576", "B7", "default", "W432H576", "6x8"};
      const char* name = names[below(6)];
      copy_text(current_options.ppd_paper_name, name);
      plain.settings.ppd_paper_name = name;
    }
    const cups_page_header2_t header = any_header();
    plain.log.clear();
    plain.interpret_header(header);
    const std::string log = captured_log([&] { extract_print_params_from_header(&header); });
    ASSERT_EQ(lines_of(log), plain.log) << "round " << round;
    const reference::Settings& s = plain.settings;
    ASSERT_EQ(current_options.paper_config->ppd_name, s.paper.name);
    ASSERT_EQ(current_options.rotate_90 != 0, s.rotate);
    ASSERT_EQ(current_options.interlace != 0, s.interlace);
    ASSERT_EQ(current_options.interlace_factor, s.interlace_factor);
    ASSERT_EQ(current_options.resolution, s.resolution);
    ASSERT_EQ(current_options.color_model, s.color_model);
    ASSERT_EQ(current_options.copies, s.copies);
  }
}

}  // namespace
