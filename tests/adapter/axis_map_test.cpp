// The source pixels of a target pixel, computed by hand.
#include "apps/adapter/axis_map.h"

#include <gtest/gtest.h>

#include <numeric>

namespace k905 {
namespace {

std::vector<std::uint32_t> weights_of(const AxisMap& map, std::size_t i) {
  const AxisMap::Taps taps = map.taps(i);
  return {taps.weights.begin(), taps.weights.end()};
}

Axis axis(std::uint32_t source, std::uint32_t target, double step, double start) {
  return {.source = source,
          .target = target,
          .step = step,
          .pieces = {{.begin = 0, .end = target, .start = start}}};
}

TEST(AxisMap, SameScaleTakesEachPixelOnce) {
  const AxisMap map(axis(3, 3, 1, 0.5));
  ASSERT_TRUE(map.is_exact());
  for (std::uint32_t i = 0; i < 3; ++i) {
    EXPECT_EQ(map.taps(i).first, i);
    EXPECT_EQ(weights_of(map, i), std::vector<std::uint32_t>{AxisMap::kWhole});
  }
}

TEST(AxisMap, HalfPixelOffsetTakesTheFirstPixel) {
  const AxisMap map(axis(10, 3, 1, 2.0));  // between pixels 1 and 2
  ASSERT_TRUE(map.is_exact());
  EXPECT_EQ(map.taps(0).first, 1U);
  EXPECT_EQ(map.taps(2).first, 3U);
}

TEST(AxisMap, OutsideOfTheSourceIsWhite) {
  const AxisMap map(axis(2, 4, 1, -0.5));
  EXPECT_TRUE(map.taps(0).weights.empty());
  EXPECT_EQ(map.taps(1).first, 0U);
  EXPECT_EQ(map.taps(2).first, 1U);
  EXPECT_TRUE(map.taps(3).weights.empty());
}

TEST(AxisMap, RepeatsEdgePixelsWhereRequested) {
  Axis both = axis(2, 4, 1, -0.5);
  both.repeats_first = both.repeats_last = true;
  const AxisMap map(both);
  EXPECT_EQ(map.taps(0).first, 0U);
  EXPECT_EQ(map.taps(3).first, 1U);
}

TEST(AxisMap, HalvingWeightsFourPixelsAsATriangle) {
  // Pixel 1 of the half size is centered between pixels 2 and 3: 1, 3, 3, 1 of 8.
  const AxisMap map(axis(8, 4, 2, 1));
  EXPECT_FALSE(map.is_exact());
  EXPECT_EQ(map.taps(1).first, 1U);
  EXPECT_EQ(weights_of(map, 1), (std::vector<std::uint32_t>{8192, 24576, 24576, 8192}));
}

TEST(AxisMap, DoublingInterpolatesBetweenTwoPixels) {
  const AxisMap map(axis(4, 8, 0.5, 0.25));
  // Target 3 is at 1.75 of the source: a quarter of the way from pixel 1 to pixel 2.
  EXPECT_EQ(map.taps(3).first, 1U);
  EXPECT_EQ(weights_of(map, 3), (std::vector<std::uint32_t>{49152, 16384}));
}

TEST(AxisMap, EdgeOfTheSourceBlendsIntoWhite) {
  const AxisMap map(axis(4, 8, 0.5, 0.25));
  // Target 0 is at 0.25: a quarter of it is outside.
  EXPECT_EQ(weights_of(map, 0).front(), 49152U);
}

TEST(AxisMap, RepeatedEdgePixelKeepsTheFullWeight) {
  Axis edge = axis(4, 8, 0.5, 0.25);
  edge.repeats_first = true;
  const std::vector<std::uint32_t> weights = weights_of(AxisMap(edge), 0);
  EXPECT_EQ(std::accumulate(weights.begin(), weights.end(), 0U), AxisMap::kWhole);
}

TEST(AxisMap, WeightsOfEveryInnerPixelAddUpToOne) {
  for (const double step : {0.37, 0.969, 1.03, 1.7, 2.31, 9.9}) {
    Axis any = axis(500, 40, step, 20);
    any.repeats_last = true;
    const AxisMap map(any);
    for (std::size_t i = 0; i < map.size(); ++i) {
      const std::vector<std::uint32_t> weights = weights_of(map, i);
      EXPECT_EQ(std::accumulate(weights.begin(), weights.end(), 0U), AxisMap::kWhole) << step;
    }
  }
}

TEST(AxisMap, PixelsOutsideOfAllPiecesAreWhite) {
  const AxisMap map(
      {.source = 9,
       .target = 6,
       .step = 1,
       .pieces = {{.begin = 1, .end = 3, .start = 0.5}, {.begin = 4, .end = 5, .start = 7.5}}});
  EXPECT_TRUE(map.taps(0).weights.empty());
  EXPECT_EQ(map.taps(2).first, 1U);
  EXPECT_TRUE(map.taps(3).weights.empty());
  EXPECT_EQ(map.taps(4).first, 7U);
  EXPECT_TRUE(map.taps(5).weights.empty());
}

TEST(AxisMap, SelectionRepeatsAndReordersTargetPixels) {
  const std::vector<std::uint32_t> order{2, 2, 0};
  const AxisMap map = AxisMap(axis(3, 3, 1, 0.5)).selected(order);
  ASSERT_EQ(map.size(), 3U);
  EXPECT_EQ(map.taps(1).first, 2U);
  EXPECT_EQ(map.taps(2).first, 0U);
  EXPECT_TRUE(map.is_same(0, 1));
  EXPECT_FALSE(map.is_same(1, 2));
}

TEST(AxisMap, ReversedMapCountsBothSidesFromTheOtherEnd) {
  const AxisMap map = AxisMap(axis(8, 3, 2, 1)).reversed();
  // Target 1 of 3 was made of pixels 1 to 4 of 8; counted from the other end these are 3 to 6.
  EXPECT_EQ(map.taps(1).first, 3U);
  EXPECT_EQ(weights_of(map, 1), (std::vector<std::uint32_t>{8192, 24576, 24576, 8192}));
  // Target 0 was pixels 0 to 2 with a part outside of them.
  EXPECT_EQ(map.taps(2).first, 5U);
  EXPECT_EQ(weights_of(map, 2), (std::vector<std::uint32_t>{8192, 24576, 24576}));
}

}  // namespace
}  // namespace k905
