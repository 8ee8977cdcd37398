// From the raster line to the RGB row, the color models, and the deinterlace.
#include <functional>

#include "tests/pipeline_kernels/guarded_rows.h"
#include "tests/support/plain_formulas.h"

namespace {

using kernels::Table;
using plain::Pixel;

Bytes converted(Table::LineToRgb* kernel, const Bytes& line, std::size_t width,
                std::size_t source_offset = 0, std::size_t target_offset = 0) {
  const SourceRow source(line, source_offset);
  TargetRow target(width * 3, target_offset);
  kernel(source.data(), target.data(), width);
  EXPECT_TRUE(target.guards_intact()) << "width " << width;
  return target.content();
}

Bytes changed(Table::InPlace* kernel, const Bytes& row, std::size_t offset = 0) {
  TargetRow target(row, offset);
  kernel(target.data(), row.size() / 3);
  EXPECT_TRUE(target.guards_intact()) << "width " << row.size() / 3;
  return target.content();
}

// `formula` for every pixel, `bytes_per_pixel` bytes apart.
Bytes by_formula(const std::function<Pixel(const std::uint8_t*)>& formula, const Bytes& line,
                 std::size_t bytes_per_pixel) {
  Bytes row;
  for (std::size_t at = 0; at + bytes_per_pixel <= line.size(); at += bytes_per_pixel) {
    const Pixel pixel = formula(&line[at]);
    row.insert(row.end(), pixel.begin(), pixel.end());
  }
  return row;
}

std::function<Pixel(const std::uint8_t*)> on_rgb(Pixel (*formula)(Pixel)) {
  return [formula](const std::uint8_t* p) { return formula({p[0], p[1], p[2]}); };
}

// All 2^16 pairs of two bytes.
Bytes all_pairs() {
  Bytes pairs;
  for (int a = 0; a < 256; ++a) {
    for (int b = 0; b < 256; ++b) {
      pairs.push_back(static_cast<std::uint8_t>(a));
      pairs.push_back(static_cast<std::uint8_t>(b));
    }
  }
  return pairs;
}

// ---- Raster lines -------------------------------------------------------------------------------

TEST_P(EveryTable, SixteenBitSamplesKeepTheirSecondByte) {
  for (const std::size_t width : interesting_widths()) {
    const Bytes line = dice.bytes(width * 6);
    EXPECT_EQ(converted(table().rgb16_to_rgb, line, width, any_offset(), any_offset()),
              by_formula(plain::rgb16, line, 6));
  }
}

TEST_P(EveryTable, GrayBytesAreRepeated) {
  for (const std::size_t width : interesting_widths()) {
    const Bytes line = dice.bytes(width);
    const auto thrice = [](const std::uint8_t* p) { return Pixel{p[0], p[0], p[0]}; };
    EXPECT_EQ(converted(table().gray8_to_rgb, line, width, any_offset(), any_offset()),
              by_formula(thrice, line, 1));
  }
}

TEST_P(EveryTable, SetBitsAreBlackStartingWithTheTopBit) {
  for (const std::size_t width : interesting_widths()) {
    const Bytes line = dice.bytes((width + 7) / 8);
    Bytes expected;
    for (std::size_t x = 0; x < width; ++x) {
      const bool set = (line[x / 8] & (0x80U >> (x % 8))) != 0;
      expected.insert(expected.end(), 3, set ? 0 : 255);
    }
    EXPECT_EQ(converted(table().gray1_to_rgb, line, width, any_offset(), any_offset()), expected);
  }
}

TEST_P(EveryTable, FourColorsInvertedIgnoreTheFourthByte) {
  for (const std::size_t width : interesting_widths()) {
    const Bytes line = dice.bytes(width * 4);
    EXPECT_EQ(converted(table().four_inverted_to_rgb, line, width, any_offset(), any_offset()),
              by_formula(plain::four_inverted, line, 4));
  }
}

TEST_P(EveryTable, FourColorsWithBlackEqualTheFormulaForEveryInkAndBlack) {
  const Bytes pairs = all_pairs();
  Bytes line;
  for (std::size_t i = 0; i < pairs.size(); i += 2) {
    const std::uint8_t ink = pairs[i];
    line.insert(line.end(), {ink, static_cast<std::uint8_t>(255 - ink),
                             static_cast<std::uint8_t>(ink ^ 0x55U), pairs[i + 1]});
  }
  EXPECT_EQ(converted(table().four_with_black_to_rgb, line, line.size() / 4),
            by_formula(plain::four_with_black, line, 4));
  for (const std::size_t width : interesting_widths()) {
    const Bytes random = dice.bytes(width * 4);
    EXPECT_EQ(converted(table().four_with_black_to_rgb, random, width, any_offset(), any_offset()),
              by_formula(plain::four_with_black, random, 4));
  }
}

// ---- Color models ------------------------------------------------------------------------------

TEST_P(EveryTable, GrayAndBlackEqualTheFormulaForEveryColor) {
  Bytes row(std::size_t{3} << 16U);
  for (unsigned red = 0; red < 256; ++red) {
    for (std::size_t i = 0; i < (std::size_t{1} << 16U); ++i) {
      row[3 * i] = static_cast<std::uint8_t>(red);
      row[3 * i + 1] = static_cast<std::uint8_t>(i >> 8U);
      row[3 * i + 2] = static_cast<std::uint8_t>(i);
    }
    const Bytes gray = changed(table().to_gray, row);
    ASSERT_TRUE(gray == by_formula(on_rgb(plain::gray), row, 3)) << "red " << red;
    ASSERT_TRUE(changed(table().to_black, row) == changed(table().invert, gray)) << "red " << red;
  }
}

TEST_P(EveryTable, ColorModelsEqualTheirFormulasAtAnyWidthAndAddress) {
  for (const std::size_t width : interesting_widths()) {
    const Bytes row = dice.bytes(width * 3);
    EXPECT_EQ(changed(table().to_gray, row, any_offset()), by_formula(on_rgb(plain::gray), row, 3));
    EXPECT_EQ(changed(table().to_black, row, any_offset()),
              by_formula(on_rgb(plain::black), row, 3));
    EXPECT_EQ(changed(table().invert, row, any_offset()),
              by_formula(on_rgb(plain::inverted), row, 3));
    EXPECT_EQ(changed(table().to_kcmy, row, any_offset()), by_formula(on_rgb(plain::kcmy), row, 3));
  }
}

// ---- Deinterlace --------------------------------------------------------------------------------

Bytes merged(const Table& table, const Bytes& upper, const Bytes& lower, std::size_t offset0 = 0,
             std::size_t offset1 = 0, std::size_t offset2 = 0) {
  const SourceRow first(upper, offset0);
  const SourceRow second(lower, offset1);
  TargetRow target(upper.size(), offset2);
  table.deinterlace(first.data(), second.data(), target.data(), upper.size() / 3);
  EXPECT_TRUE(target.guards_intact());
  return target.content();
}

TEST_P(EveryTable, DeinterlaceEqualsTheFormulaForEveryPairOfBytes) {
  const Bytes pairs = all_pairs();
  Bytes upper;
  Bytes lower;
  Bytes expected;
  for (std::size_t i = 0; i < pairs.size(); i += 2) {
    upper.push_back(pairs[i]);
    lower.push_back(pairs[i + 1]);
    expected.push_back(plain::deinterlaced(pairs[i], pairs[i + 1]));
  }
  for (Bytes* bytes : {&upper, &lower, &expected})
    bytes->resize(65535);  // a whole number of pixels
  EXPECT_EQ(merged(table(), upper, lower), expected);
}

TEST_P(EveryTable, DeinterlaceEqualsItsFormulaAtAnyWidthAndAddress) {
  for (const std::size_t width : interesting_widths()) {
    const Bytes upper = dice.bytes(width * 3);
    const Bytes lower = dice.bytes(width * 3);
    Bytes expected;
    for (std::size_t i = 0; i < upper.size(); ++i) {
      expected.push_back(plain::deinterlaced(upper[i], lower[i]));
    }
    EXPECT_EQ(merged(table(), upper, lower, any_offset(), any_offset(), any_offset()), expected);
  }
}

}  // namespace
