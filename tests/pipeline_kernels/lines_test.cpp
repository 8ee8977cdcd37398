// From the raster line to the RGB row, the color models, and the deinterlace.
#include <functional>

#include "tests/pipeline_kernels/guarded_rows.h"
#include "tests/pipeline_kernels/plain_formulas.h"

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

// `formula` for every pixel, `bytes_a_pixel` bytes apart.
Bytes by_formula(const std::function<Pixel(const std::uint8_t*)>& formula, const Bytes& line,
                 std::size_t bytes_a_pixel) {
  Bytes row;
  for (std::size_t at = 0; at + bytes_a_pixel <= line.size(); at += bytes_a_pixel) {
    const Pixel pixel = formula(&line[at]);
    row.insert(row.end(), pixel.begin(), pixel.end());
  }
  return row;
}

std::function<Pixel(const std::uint8_t*)> on_rgb(Pixel (*formula)(Pixel)) {
  return [formula](const std::uint8_t* p) { return formula({p[0], p[1], p[2]}); };
}

// All 2^16 pairs of two bytes, each as the first two of `bytes_a_pixel`, the last repeated.
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

TEST_P(EveryTable, SixteenBitSamplesKeepTheirSecondByteOnly) {
  EXPECT_EQ(converted(table().rgb16_to_rgb, {9, 1, 9, 2, 9, 3, 255, 250, 0, 251, 127, 252}, 2),
            (Bytes{1, 2, 3, 250, 251, 252}));
  for (const std::size_t width : interesting_widths()) {
    const Bytes line = dice.bytes(width * 6);
    EXPECT_EQ(converted(table().rgb16_to_rgb, line, width, any_offset(), any_offset()),
              by_formula(plain::rgb16, line, 6));
  }
}

TEST_P(EveryTable, GrayBytesAreRepeatedUnchanged) {
  EXPECT_EQ(converted(table().gray8_to_rgb, {0, 7, 255}, 3),
            (Bytes{0, 0, 0, 7, 7, 7, 255, 255, 255}));
  for (const std::size_t width : interesting_widths()) {
    const Bytes line = dice.bytes(width);
    const auto thrice = [](const std::uint8_t* p) { return Pixel{p[0], p[0], p[0]}; };
    EXPECT_EQ(converted(table().gray8_to_rgb, line, width, any_offset(), any_offset()),
              by_formula(thrice, line, 1));
  }
}

TEST_P(EveryTable, BitsAreTakenFromTheTopAndASetBitIsBlack) {
  const Bytes row = converted(table().gray1_to_rgb, {0xA0}, 3);  // 1 0 1
  EXPECT_EQ(row, (Bytes{0, 0, 0, 255, 255, 255, 0, 0, 0}));
}

TEST_P(EveryTable, BitsAfterAWidthThatIsNoMultipleOfEightAreNotUsed) {
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
  EXPECT_EQ(converted(table().four_inverted_to_rgb, {0, 1, 255, 77, 10, 20, 30, 0}, 2),
            (Bytes{255, 254, 0, 245, 235, 225}));
  for (const std::size_t width : interesting_widths()) {
    const Bytes line = dice.bytes(width * 4);
    EXPECT_EQ(converted(table().four_inverted_to_rgb, line, width, any_offset(), any_offset()),
              by_formula(plain::four_inverted, line, 4));
  }
}

TEST_P(EveryTable, FourColorsWithBlackFoldBlackIn) {
  // Paper stays paper, full black is black whatever the inks, and 51 of 255 (a fifth) of cyan under
  // 51 of black leaves 0.8 * 255 * 0.8 = 163.2.
  const Bytes line = {0, 0, 0, 0, 0, 128, 255, 255, 51, 0, 255, 51};
  EXPECT_EQ(converted(table().four_with_black_to_rgb, line, 3),
            (Bytes{255, 255, 255, 0, 0, 0, 163, 204, 0}));
  for (const std::size_t width : interesting_widths()) {
    const Bytes random = dice.bytes(width * 4);
    EXPECT_EQ(converted(table().four_with_black_to_rgb, random, width, any_offset(), any_offset()),
              by_formula(plain::four_with_black, random, 4));
  }
}

TEST_P(EveryTable, FourColorsWithBlackAreRightForEveryPairOfInkAndBlack) {
  const Bytes pairs = all_pairs();
  Bytes line;
  for (std::size_t i = 0; i < pairs.size(); i += 2) {
    const std::uint8_t ink = pairs[i];
    line.insert(line.end(), {ink, static_cast<std::uint8_t>(255 - ink),
                             static_cast<std::uint8_t>(ink ^ 0x55U), pairs[i + 1]});
  }
  EXPECT_EQ(converted(table().four_with_black_to_rgb, line, line.size() / 4),
            by_formula(plain::four_with_black, line, 4));
}

// ---- Color models ------------------------------------------------------------------------------

TEST_P(EveryTable, GrayAndBlackAreRightForEveryColor) {
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

TEST_P(EveryTable, BlackIsTheNegativeOfGray) {
  // 255 * 0.299 = 76.2, 255 * 0.587 = 149.7, 255 * 0.114 = 29.07.
  const Bytes primaries = {255, 0, 0, 0, 255, 0, 0, 0, 255};
  EXPECT_EQ(changed(table().to_gray, primaries), (Bytes{76, 76, 76, 149, 149, 149, 29, 29, 29}));
  EXPECT_EQ(changed(table().to_black, primaries),
            (Bytes{179, 179, 179, 106, 106, 106, 226, 226, 226}));
}

TEST_P(EveryTable, KcmyRotatesAndInvertsTheLastOnly) {
  EXPECT_EQ(changed(table().to_kcmy, {10, 20, 30, 0, 1, 2}), (Bytes{20, 30, 245, 1, 2, 255}));
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

TEST_P(EveryTable, FourColorsUnderCmykAreInvertedTwice) {
  const Bytes line = {1, 2, 3, 200, 250, 251, 252, 9};
  const Bytes row = converted(table().four_inverted_to_rgb, line, 2);
  EXPECT_EQ(changed(table().invert, row), (Bytes{1, 2, 3, 250, 251, 252}));
}

TEST_P(EveryTable, FourColorsUnderKcmyEndAsTheRotationOfTheirInversion) {
  const Bytes row = converted(table().four_inverted_to_rgb, {1, 2, 3, 200}, 1);
  EXPECT_EQ(changed(table().to_kcmy, row), (Bytes{253, 252, 1}));
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

TEST_P(EveryTable, DeinterlaceWeighsTheUpperRowThreeToTwo) {
  // (3 * 100 + 2 * 50) / 5 = 80; 3 * 1 / 5 is rounded down; two white rows stay white.
  EXPECT_EQ(merged(table(), {100, 1, 255}, {50, 0, 255}), (Bytes{80, 0, 255}));
}

TEST_P(EveryTable, DeinterlaceKeepsEqualRows) {
  Bytes every_byte(258);
  for (std::size_t i = 0; i < every_byte.size(); ++i) {
    every_byte[i] = static_cast<std::uint8_t>(i);
  }
  EXPECT_EQ(merged(table(), every_byte, every_byte), every_byte);
}

TEST_P(EveryTable, DeinterlaceIsRightForEveryPairOfBytes) {
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
