// All of the 2^24 colors through a transform.
#include <gtest/gtest.h>
#include <lcms2.h>

#include <vector>

#include "tests/pipeline_adjust/icc_page.h"
#include "tests/pipeline_adjust/profiles.h"

namespace {

// 4096 x 4096 pixels, each color once.
Page all_colors() {
  Page page{4096, 4096, {}};
  page.rgb.reserve(3u << 24);
  for (unsigned color = 0; color < 1u << 24; ++color) {
    for (const unsigned shift : {0u, 8u, 16u}) {
      page.rgb.push_back(static_cast<std::uint8_t>(color >> shift));
    }
  }
  return page;
}

TEST(Transform, EqualsLittleCmsForEveryColor) {
  const Page page = all_colors();
  const auto expected = converted_directly("", "", TYPE_RGB_8, 0, page.rgb);
  EXPECT_TRUE(convert_page(icc_options("", ""), page).rgb == expected);
}

// The result for a color does not depend on previous colors: the same colors in another order.
TEST(Transform, ConvertsEachColorIndependently) {
  const ProfileFolder profiles;
  const Page forward = all_colors();
  std::vector<std::uint8_t> backward(forward.rgb.size());
  const std::size_t count = backward.size() / 3;
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t c = 0; c < 3; ++c) {
      backward[3 * i + c] = forward.rgb[3 * (count - 1 - i) + c];
    }
  }
  const std::string target = profiles.rgb_matrix("narrow.icc", 2.4);
  const auto one = converted_directly("", target, TYPE_RGB_8, 0, forward.rgb);
  const auto other = converted_directly("", target, TYPE_RGB_8, 0, backward);
  std::size_t differing = 0;
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t c = 0; c < 3; ++c) {
      differing += one[3 * i + c] != other[3 * (count - 1 - i) + c] ? 1 : 0;
    }
  }
  EXPECT_EQ(differing, 0u);
}

}  // namespace
