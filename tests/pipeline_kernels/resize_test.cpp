// The bilinear resize of one row.
#include <algorithm>
#include <cmath>

#include "tests/pipeline_kernels/guarded_rows.h"
#include "tests/support/plain_formulas.h"

namespace {

struct Columns {
  std::uint32_t last;
  std::vector<std::uint32_t> left = {};
  std::vector<double> fraction = {};
  std::vector<float> float_fraction = {};

  explicit Columns(std::size_t source_width)
      : last(static_cast<std::uint32_t>(3 * (source_width - 1))) {}

  void add(std::size_t column, double share) {
    left.push_back(static_cast<std::uint32_t>(3 * column));
    fraction.push_back(share);
    float_fraction.push_back(3 * column == last ? 0.0F : static_cast<float>(share));
  }

  [[nodiscard]] kernels::ResizeColumns view() const {
    return {left.data(), fraction.data(), float_fraction.data(), left.size(), last};
  }
};

// The columns of a real page: no half-pixel offset, the last source column twice at the end.
Columns scaled(std::size_t from, std::size_t to) {
  Columns columns(from);
  const double scale = static_cast<double>(to) / static_cast<double>(from);
  for (std::size_t x = 0; x < to; ++x) {
    const double place = static_cast<double>(x) * (1.0 / scale);
    const auto whole = static_cast<std::size_t>(place);
    columns.add(std::min(whole, from - 1), place - static_cast<double>(whole));
  }
  return columns;
}

// Estimates of every complete block, with guard values after them.
std::vector<float> estimated(const kernels::Table& table, const Columns& columns,
                             const std::uint8_t* row) {
  constexpr float kUntouched = -1234.5F;
  const std::size_t blocks = columns.left.size() / kernels::ResizeLine::kBlockPixels;
  std::vector<float> estimate(blocks * kernels::ResizeLine::kBlockFloats + 16, kUntouched);
  table.resize_across(columns.view(), row, estimate.data());
  for (std::size_t i = 0; i < 16; ++i) EXPECT_EQ(estimate[estimate.size() - 1 - i], kUntouched);
  estimate.resize(estimate.size() - 16);
  return estimate;
}

Bytes resized(const kernels::Table& table, const Columns& columns, double fy, const Bytes& top,
              const Bytes& bottom, std::size_t offset0 = 0, std::size_t offset1 = 0,
              std::size_t offset2 = 0) {
  const SourceRow upper(top, offset0);
  const SourceRow lower(bottom, offset1);
  const std::vector<float> upper_estimate = estimated(table, columns, upper.data());
  const std::vector<float> lower_estimate = estimated(table, columns, lower.data());
  TargetRow target(columns.left.size() * 3, offset2);
  table.resize_down(columns.view(), fy, {upper.data(), upper_estimate.data()},
                    {lower.data(), lower_estimate.data()}, target.data());
  EXPECT_TRUE(target.guards_intact()) << "width " << columns.left.size();
  return target.content();
}

Bytes by_formula(const Columns& columns, double fy, const Bytes& top, const Bytes& bottom) {
  Bytes row;
  for (std::size_t x = 0; x < columns.left.size(); ++x) {
    for (std::size_t c = 0; c < 3; ++c) {
      const std::size_t left = columns.left[x] + c;
      const std::size_t right = columns.left[x] == columns.last ? left : left + 3;
      row.push_back(plain::resized(top[left], top[right], bottom[left], bottom[right], fy,
                                   columns.fraction[x]));
    }
  }
  return row;
}

TEST_P(EveryTable, ResizeEqualsItsFormulaForRealScales) {
  const std::size_t sizes[][2] = {{2400, 1844}, {1200, 1844}, {1920, 1844}, {1, 50}, {50, 1},
                                  {3, 1844},    {4872, 70},   {17, 19},     {64, 63}};
  for (const auto& [from, to] : sizes) {
    const Columns columns = scaled(from, to);
    for (const double fy : {0.0, 0.5, 1.0 / 3.0, dice.fraction(), dice.fraction()}) {
      const Bytes top = dice.bytes(from * 3);
      const Bytes bottom = dice.bytes(from * 3);
      EXPECT_EQ(
          resized(table(), columns, fy, top, bottom, any_offset(), any_offset(), any_offset()),
          by_formula(columns, fy, top, bottom));
    }
  }
}

TEST_P(EveryTable, ResizeEqualsItsFormulaForAnyWidthAndAnyColumns) {
  for (const std::size_t width : interesting_widths()) {
    const std::size_t source = 1 + dice.below(90);
    Columns columns(source);
    for (std::size_t x = 0; x < width; ++x) columns.add(dice.below(source), dice.fraction());
    const Bytes top = dice.bytes(source * 3);
    const Bytes bottom = dice.bytes(source * 3);
    const double fy = dice.fraction();
    EXPECT_EQ(resized(table(), columns, fy, top, bottom, any_offset(), any_offset(), any_offset()),
              by_formula(columns, fy, top, bottom));
  }
}

// Sums that are exactly between two bytes: a different order or a fused multiply-add changes the
// byte, and an estimate cannot decide it.
TEST_P(EveryTable, ResizeRoundsHalvesUp) {
  Columns columns(85);
  for (std::size_t x = 0; x < 84; ++x) columns.add(x, static_cast<double>(x % 8) / 8.0);
  for (int round = 0; round < 200; ++round) {
    const Bytes top = dice.bytes(std::size_t{85} * 3);
    const Bytes bottom = dice.bytes(std::size_t{85} * 3);
    const double fy = static_cast<double>(round % 10) / 10.0;
    EXPECT_EQ(resized(table(), columns, fy, top, bottom), by_formula(columns, fy, top, bottom));
  }
}

// Values slightly above or below the middle between two bytes: from far more than the error of the
// estimate down to the last bits of a double.
TEST_P(EveryTable, ResizeIsExactNextToTheBorderBetweenTwoBytes) {
  for (int round = 0; round < 400; ++round) {
    const double offset = std::ldexp(dice.fraction() - 0.5, -static_cast<int>(dice.below(50)));
    Columns columns(65);
    for (std::size_t x = 0; x < 64; ++x) columns.add(x, 0.0);
    const Bytes top = dice.bytes(std::size_t{65} * 3);
    const Bytes bottom = dice.bytes(std::size_t{65} * 3);
    // With odd differences between two rows, half way down is half way between two bytes.
    const double fy = std::clamp(0.5 + offset, 0.0, 1.0);
    EXPECT_EQ(resized(table(), columns, fy, top, bottom), by_formula(columns, fy, top, bottom));
  }
}

TEST_P(EveryTable, EstimatesStayWithinTheirError) {
  const Columns columns = scaled(1200, 1844);
  const Bytes row = dice.bytes(std::size_t{1200} * 3);
  const SourceRow source(row, 0);
  const std::vector<float> estimate = estimated(table(), columns, source.data());
  for (std::size_t x = 0; x < 1840; ++x) {  // 230 complete blocks
    for (std::size_t c = 0; c < 3; ++c) {
      const double left = row[columns.left[x] + c];
      const double right = row[std::min(columns.left[x] + 3, columns.last) + c];
      const double exact = left + (right - left) * columns.fraction[x];
      EXPECT_NEAR(estimate[x / 8 * 24 + c * 8 + x % 8], exact, 1.0 / 8192.0);
    }
  }
}

// ---- In sixteenths ------------------------------------------------------------------------------

struct SixteenthColumns {
  std::vector<std::uint32_t> left;
  std::vector<kernels::Sixteenths> share;

  void add(std::size_t column, unsigned right_share) {
    left.push_back(static_cast<std::uint32_t>(3 * column));
    share.push_back({static_cast<std::uint8_t>(16 - right_share),  //
                     static_cast<std::uint8_t>(right_share)});
  }

  [[nodiscard]] kernels::SixteenthColumns view() const {
    return {left.data(), share.data(), left.size()};
  }
};

std::vector<std::uint16_t> sums_across(const kernels::Table& table, const SixteenthColumns& columns,
                                       const Bytes& row, std::size_t offset = 0) {
  constexpr std::uint16_t kUntouched = 0xA5A5;
  const SourceRow source(row, offset);
  std::vector<std::uint16_t> sums(columns.left.size() * 3 + 16, kUntouched);
  table.sixteenths_across(columns.view(), source.data(), sums.data());
  for (std::size_t i = 0; i < 16; ++i) EXPECT_EQ(sums[sums.size() - 1 - i], kUntouched);
  sums.resize(sums.size() - 16);
  return sums;
}

Bytes bytes_down(const kernels::Table& table, const std::vector<std::uint16_t>& top,
                 const std::vector<std::uint16_t>& bottom, unsigned share, std::size_t offset = 0) {
  TargetRow target(top.size(), offset);
  table.sixteenths_down(top.data(), bottom.data(), static_cast<std::uint16_t>(share), target.data(),
                        top.size() / 3);
  EXPECT_TRUE(target.guards_intact()) << "bytes " << top.size();
  return target.content();
}

// Every pair of bytes with every share: the sum is sixteen times the value of the formula.
TEST_P(EveryTable, SixteenthsAcrossAreExactForEveryPairAndShare) {
  for (unsigned share = 0; share <= 16; ++share) {
    for (unsigned left = 0; left < 256; ++left) {
      // The left byte at every other column, the right ones 0 to 255 between them.
      Bytes row;
      SixteenthColumns columns;
      for (unsigned right = 0; right < 256; ++right) {
        row.insert(row.end(), 3, static_cast<std::uint8_t>(left));
        row.insert(row.end(), 3, static_cast<std::uint8_t>(right));
        columns.add(std::size_t{2} * right, share);
      }
      const std::vector<std::uint16_t> sums = sums_across(table(), columns, row);
      const double fx = share / 16.0;
      for (unsigned right = 0; right < 256; ++right) {
        const double sum = 16.0 * (left * (1.0 - fx) + right * fx);
        for (std::size_t c = 0; c < 3; ++c) {
          ASSERT_EQ(sums[std::size_t{3} * right + c], sum) << left << " " << share;
        }
      }
    }
  }
}

// Every upper sum with every share, with the lower ones in several other orders.
TEST_P(EveryTable, SixteenthsDownAreExactForEverySumAndShare) {
  constexpr std::size_t kSums = std::size_t{16} * 255 + 1;  // 4081
  std::vector<std::uint16_t> top(3 * kSums);
  std::vector<std::uint16_t> bottom(3 * kSums);
  for (std::size_t i = 0; i < top.size(); ++i) top[i] = static_cast<std::uint16_t>(i % kSums);
  // Steps of primes reach every sum; 1 keeps both equal and 4080 reverses their order.
  for (const std::size_t step : {1, 4080, 2, 17, 239, 1021, 2039, 3001}) {
    for (std::size_t i = 0; i < bottom.size(); ++i) {
      bottom[i] = static_cast<std::uint16_t>(i * step % kSums);
    }
    for (unsigned share = 0; share < 16; ++share) {
      const Bytes bytes = bytes_down(table(), top, bottom, share);
      const double fy = share / 16.0;
      for (std::size_t i = 0; i < bytes.size(); ++i) {
        const double sum = (1.0 - fy) * (top[i] / 16.0) + fy * (bottom[i] / 16.0);
        ASSERT_EQ(bytes[i], std::floor(sum + 0.5)) << top[i] << " " << bottom[i];
      }
    }
  }
}

TEST_P(EveryTable, SixteenthsEqualTheFormulaForAnyWidthAndAnyColumns) {
  for (const std::size_t width : interesting_widths()) {
    const std::size_t source = 1 + dice.below(90);
    SixteenthColumns columns;
    for (std::size_t x = 0; x < width; ++x) {
      const std::size_t left = dice.below(source);
      // The column beyond the last one is slack, which must have no weight.
      columns.add(left, left + 1 < source ? static_cast<unsigned>(dice.below(17)) : 0);
    }
    const Bytes top = dice.bytes(source * 3);
    const Bytes bottom = dice.bytes(source * 3);
    const auto share = static_cast<unsigned>(dice.below(16));
    const Bytes bytes =
        bytes_down(table(), sums_across(table(), columns, top, any_offset()),
                   sums_across(table(), columns, bottom, any_offset()), share, any_offset());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      const std::size_t x = i / 3;
      const std::size_t left = columns.left[x] + i % 3;
      const std::size_t right = columns.share[x].right == 0 ? left : left + 3;
      const double fx = columns.share[x].right / 16.0;
      ASSERT_EQ(bytes[i], plain::resized(top[left], top[right], bottom[left], bottom[right],
                                         share / 16.0, fx))
          << "width " << width;
    }
  }
}

}  // namespace
