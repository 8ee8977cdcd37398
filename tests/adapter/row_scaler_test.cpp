// The row scaler, compared with the same sums computed directly.
#include "apps/adapter/row_scaler.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <random>

#include "apps/adapter/rotated_rows.h"

namespace k905 {
namespace {

// Rows in memory.
class Rows final : public RowSource {
 public:
  Rows(std::vector<std::uint8_t> bytes, std::size_t row_bytes)
      : bytes_(std::move(bytes)), row_bytes_(row_bytes) {}
  [[nodiscard]] const std::uint8_t* next_row() override {
    if (next_ * row_bytes_ >= bytes_.size()) return nullptr;
    return bytes_.data() + row_bytes_ * next_++;
  }

 private:
  std::vector<std::uint8_t> bytes_;
  std::size_t row_bytes_;
  std::size_t next_ = 0;
};

AxisMap mapped(std::uint32_t source, std::uint32_t target, double step, double start,
               bool repeats = false) {
  return AxisMap({.source = source,
                  .target = target,
                  .step = step,
                  .pieces = {{.begin = 0, .end = target, .start = start}},
                  .repeats_first = repeats,
                  .repeats_last = repeats});
}

double sum_of(const AxisMap& columns, const AxisMap& rows, std::size_t x, std::size_t y,
              const std::function<double(std::size_t, std::size_t)>& sample, double white) {
  double sum = 0;
  double given = 0;
  const AxisMap::Taps across = columns.taps(x);
  const AxisMap::Taps down = rows.taps(y);
  for (std::size_t j = 0; j < down.weights.size(); ++j) {
    for (std::size_t i = 0; i < across.weights.size(); ++i) {
      const double weight =
          double{1.0} * down.weights[j] / AxisMap::kWhole * across.weights[i] / AxisMap::kWhole;
      sum += weight * sample(across.first + i, down.first + j);
      given += weight;
    }
  }
  return sum + (1 - given) * white;
}

struct Scales {
  double across;
  double down;
};

class RowScalerAtEveryScale : public ::testing::TestWithParam<Scales> {};

TEST_P(RowScalerAtEveryScale, RowsAreTheWeightedSumsOfTheirTaps) {
  constexpr std::uint32_t kWidth = 60;
  constexpr std::uint32_t kHeight = 50;
  constexpr std::size_t kChannels = 3;
  const auto [across, down] = GetParam();
  // A few pixels beyond all sides.
  const AxisMap columns = mapped(kWidth, static_cast<std::uint32_t>(66 / across), across, -2.5);
  const AxisMap rows = mapped(kHeight, static_cast<std::uint32_t>(56 / down), down, -2.5, true);
  std::mt19937 random(7);
  std::vector<std::uint8_t> bytes(kWidth * kHeight * kChannels);
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
  for (const std::uint8_t white : {std::uint8_t{0xFF}, std::uint8_t{0x00}}) {
    RowScaler scaler(columns, rows, {.channels = kChannels, .white = white});
    Rows source(bytes, kWidth * kChannels);
    std::vector<std::uint8_t> out(columns.size() * kChannels);
    for (std::size_t y = 0; y < rows.size(); ++y) {
      ASSERT_TRUE(scaler.make_row(y, source, out.data())) << y;
      for (std::size_t i = 0; i < out.size(); ++i) {
        const auto sample = [&](std::size_t x, std::size_t row) {
          return double{1.0} * bytes[(row * kWidth + x) * kChannels + i % kChannels];
        };
        ASSERT_NEAR(out[i], sum_of(columns, rows, i / kChannels, y, sample, white), 0.51) << y;
      }
    }
  }
}

TEST_P(RowScalerAtEveryScale, SixteenBitRowsAreTheWeightedSums) {
  constexpr std::uint32_t kWidth = 40;
  constexpr std::uint32_t kHeight = 30;
  const auto [across, down] = GetParam();
  const AxisMap columns = mapped(kWidth, static_cast<std::uint32_t>(46 / across), across, -2.5);
  const AxisMap rows = mapped(kHeight, static_cast<std::uint32_t>(36 / down), down, -2.5);
  std::mt19937 random(8);
  std::vector<std::uint16_t> samples(kWidth * kHeight);
  for (std::uint16_t& sample : samples) sample = static_cast<std::uint16_t>(random());
  std::vector<std::uint8_t> bytes(samples.size() * 2);
  std::memcpy(bytes.data(), samples.data(), bytes.size());
  RowScaler scaler(columns, rows, {.channels = 1, .sample_bytes = 2});
  Rows source(bytes, kWidth * std::size_t{2});
  std::vector<std::uint16_t> out(columns.size());
  for (std::size_t y = 0; y < rows.size(); ++y) {
    ASSERT_TRUE(scaler.make_row(y, source, reinterpret_cast<std::uint8_t*>(out.data())));
    for (std::size_t x = 0; x < out.size(); ++x) {
      const auto sample = [&](std::size_t column, std::size_t row) {
        return double{1.0} * samples[row * kWidth + column];
      };
      ASSERT_NEAR(out[x], sum_of(columns, rows, x, y, sample, 65535), 1.1);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Scales, RowScalerAtEveryScale,
                         ::testing::Values(Scales{1, 1}, Scales{1, 0.5}, Scales{0.969, 1},
                                           Scales{1.7, 2.3}, Scales{0.31, 0.9}, Scales{7.5, 1}));

TEST(RowScaler, SourceThatEndsTooEarlyGivesNoRow) {
  const AxisMap columns = mapped(4, 4, 1, 0.5);
  const AxisMap rows = mapped(4, 4, 1, 0.5);
  RowScaler scaler(columns, rows, {.channels = 1});
  Rows source(std::vector<std::uint8_t>(8), 4);
  std::uint8_t out[4];
  EXPECT_TRUE(scaler.make_row(0, source, out));
  EXPECT_TRUE(scaler.make_row(1, source, out));
  EXPECT_FALSE(scaler.make_row(2, source, out));
}

std::vector<std::uint8_t> all_rows(RowSource& source, std::size_t row_bytes) {
  std::vector<std::uint8_t> bytes;
  while (const std::uint8_t* row = source.next_row()) {
    bytes.insert(bytes.end(), row, row + row_bytes);
  }
  return bytes;
}

// 0 1 2 over 3 4 5.
TEST(RotatedRows, BeginWithTheFirstColumnReadUpward) {
  Rows page({0, 1, 2, 3, 4, 5}, 3);
  RotatedRows rotated(page, 3, 2, 1);
  EXPECT_EQ(all_rows(rotated, 2), (std::vector<std::uint8_t>{3, 0, 4, 1, 5, 2}));
}

TEST(RotatedRows, FourRotationsRestoreThePageForEveryPixelSize) {
  for (const std::size_t pixel : {1U, 2U, 3U, 4U, 6U}) {
    constexpr std::size_t kWidth = 37;
    constexpr std::size_t kHeight = 21;
    std::vector<std::uint8_t> bytes(kWidth * kHeight * pixel);
    std::mt19937 random(9);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    Rows page(bytes, kWidth * pixel);
    RotatedRows once(page, kWidth, kHeight, pixel);
    RotatedRows twice(once, kHeight, kWidth, pixel);
    RotatedRows thrice(twice, kWidth, kHeight, pixel);
    RotatedRows again(thrice, kHeight, kWidth, pixel);
    EXPECT_EQ(all_rows(again, kWidth * pixel), bytes) << pixel;
  }
}

TEST(RotatedRows, PageThatEndsTooEarlyGivesNoRow) {
  Rows page({0, 1, 2, 3, 4, 5}, 3);
  RotatedRows rotated(page, 3, 3, 1);
  EXPECT_EQ(rotated.next_row(), nullptr);
}

}  // namespace
}  // namespace k905
