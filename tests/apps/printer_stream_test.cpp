// The parser of the printer stream: valid streams are returned completely, and every invalid field
// is reported with its offset, the expected and the actual value.
#include "apps/wire/printer_stream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "apps/wire/stream_dump.h"
#include "tests/support/wire_stream.h"

namespace {

using testing::ElementsAre;

k905::ParsedStream parse(const std::string& stream) {
  return k905::parse_printer_stream(reinterpret_cast<const std::uint8_t*>(stream.data()),
                                    stream.size());
}

std::string parse_error(const std::string& stream) {
  const k905::ParsedStream parsed = parse(stream);
  return parsed.error ? describe(*parsed.error) : "no error";
}

// A 3 x 2 sheet: an image is 32 bytes of command, 1088 of header and 6 pixels, 1126 together.
constexpr std::size_t kImage = 1126;
constexpr std::size_t kBmp = 32;  // offset of the first image's BMP header
constexpr std::size_t kControls = 3 * kImage;

std::string matte_sheet() {
  SheetContent sheet;
  sheet.matte = true;
  return wire_sheet(sheet);
}

TEST(PrinterStream, GlossySheetIsParsedCompletely) {
  const k905::ParsedStream parsed = parse(wire_sheet({}));
  ASSERT_FALSE(parsed.error);
  ASSERT_EQ(parsed.sheets.size(), 1U);
  const k905::Sheet& sheet = parsed.sheets[0];
  EXPECT_EQ(sheet.width, 3U);
  EXPECT_EQ(sheet.height, 2U);
  EXPECT_THAT(sheet.plane[0], ElementsAre(1, 2, 3, 4, 5, 6));
  EXPECT_THAT(sheet.plane[1], ElementsAre(11, 12, 13, 14, 15, 16));
  EXPECT_THAT(sheet.plane[2], ElementsAre(21, 22, 23, 24, 25, 26));
  EXPECT_FALSE(sheet.matte);
  EXPECT_EQ(sheet.cutter, 0U);
  EXPECT_EQ(sheet.offset, 0U);
  EXPECT_EQ(sheet.size, kControls + 40 + 32);
}

TEST(PrinterStream, ThirdPlaneIsSentFirstAsY) {
  const std::string stream = wire_sheet({});
  EXPECT_EQ(stream.substr(8, 6), "YPLANE");
  EXPECT_EQ(static_cast<int>(stream[kBmp + 1088]), 21);
  EXPECT_EQ(parse(stream).sheets[0].plane[2][0], 21);
}

TEST(PrinterStream, MatteSheetIsRecognized) {
  const k905::ParsedStream parsed = parse(matte_sheet());
  ASSERT_FALSE(parsed.error);
  EXPECT_TRUE(parsed.sheets[0].matte);
}

TEST(PrinterStream, ThreeCutterValuesAreAccepted) {
  for (const std::uint32_t value : {0U, 1U, 120U}) {
    SheetContent sheet;
    sheet.cutter = wire_digits(value);
    const k905::ParsedStream parsed = parse(wire_sheet(sheet));
    ASSERT_FALSE(parsed.error);
    EXPECT_EQ(parsed.sheets[0].cutter, value);
  }
}

TEST(PrinterStream, SheetsFollowEachOther) {
  const std::string first = matte_sheet();
  const k905::ParsedStream parsed = parse(first + wire_sheet({}));
  ASSERT_FALSE(parsed.error);
  ASSERT_EQ(parsed.sheets.size(), 2U);
  EXPECT_EQ(parsed.sheets[1].offset, first.size());
  EXPECT_FALSE(parsed.sheets[1].matte);
}

TEST(PrinterStream, EmptyStreamHasNoSheetAndNoError) {
  const k905::ParsedStream parsed = parse("");
  EXPECT_TRUE(parsed.sheets.empty());
  EXPECT_FALSE(parsed.error);
}

TEST(PrinterStream, LargestSheetIsAcceptedAndOneMoreColumnRefused) {
  SheetContent sheet;
  sheet.width = 5000;
  sheet.height = 5000;
  sheet.plane.fill(std::vector<std::uint8_t>(25000000, 7));
  EXPECT_EQ(parse_error(wire_sheet(sheet)), "no error");

  sheet.width = 5001;
  sheet.height = 1;
  sheet.plane.fill(std::vector<std::uint8_t>(5001, 7));
  EXPECT_EQ(parse_error(wire_sheet(sheet)),
            "offset 50: expected BMP width from 1 to 5000, found 5001");

  sheet.width = 1;
  sheet.height = 5001;
  std::string stream = wire_sheet(sheet);
  // A wrong BMP height: the height that follows from length and width is checked first.
  stream.replace(kBmp + 22, 4, wire_number(3, 4));
  EXPECT_EQ(parse_error(stream),
            "offset 54: expected image length and BMP width that give a height from 1 to 5000, "
            "found a height of 5001");
}

struct WrongField {
  const char* name;
  std::size_t offset;        // where bytes are replaced
  std::string bytes;         // by these
  std::size_t error_offset;  // the field's first byte
  const char* expected;
  const char* found;
};

void PrintTo(const WrongField& field, std::ostream* out) { *out << field.name; }

std::string zeros(std::size_t count) { return std::string(count, '\0'); }

// Offsets in an image: the fields of the command are at 0, 1, 2, 8 and 24, the BMP is at 32. Its
// palette is at 54 in the BMP; in the palette entry 17 is at 68, entry 255 at 1020.
const std::vector<WrongField>& wrong_fields() {
  static const std::vector<WrongField> fields = {
      {"Escape", 0, "A", 0, "the escape (0x1b) of a command", "0x41"},
      {"LetterP", 1, "Q", 1, "\"P\" after the escape", "\"Q\""},
      {"Group", 2, "CNTRL ", 2, "group \"IMAGE \"", "\"CNTRL \""},
      {"GroupPadding", 7, zeros(1), 2, "group \"IMAGE \"", "\"IMAGE\\x00\""},
      {"OrderOfPlanes", 8, "C", 8, "name \"YPLANE          \"", "\"CPLANE          \""},
      {"NamePadding", 23, "x", 8, "name \"YPLANE          \"", "\"YPLANE         x\""},
      {"LengthWithoutDigits", 24, "    1094", 24, "an image length of eight decimal digits",
       "\"    1094\""},
      {"LengthOfNoPixels", 24, "00001088", 24, "image length from 1089 to 25001088", "1088"},
      {"LengthAboveTheLimit", 24, "99999999", 24, "image length from 1089 to 25001088", "99999999"},
      {"LengthOffByOne", 24, "00001095", kBmp + 2, "BMP total size 1095", "1094"},
      {"Magic", kBmp, "MB", kBmp, "\"BM\" at the head of the image", "\"MB\""},
      {"TotalSize", kBmp + 2, wire_number(1093, 4), kBmp + 2, "BMP total size 1094", "1093"},
      {"Reserved", kBmp + 9, "\x01", kBmp + 6, "BMP reserved field 0", "16777216"},
      {"PixelOffset", kBmp + 10, wire_number(1078, 4), kBmp + 10, "BMP pixel offset 1088", "1078"},
      {"InfoSize", kBmp + 14, wire_number(124, 4), kBmp + 14, "BMP information header size 40",
       "124"},
      {"WidthZero", kBmp + 18, wire_number(0, 4), kBmp + 18, "BMP width from 1 to 5000", "0"},
      {"WidthHighBytes", kBmp + 20, "\x01", kBmp + 18, "BMP width from 1 to 5000", "65539"},
      {"WidthThatDoesNotFit", kBmp + 18, wire_number(4, 4), kBmp + 18,
       "BMP width that divides the 6 bytes of pixels", "4"},
      {"Height", kBmp + 22, wire_number(3, 4), kBmp + 22, "BMP height 2", "3"},
      {"HeightNegative", kBmp + 22, wire_number(0xFFFFFFFE, 4), kBmp + 22, "BMP height 2",
       "4294967294"},
      {"Planes", kBmp + 26, wire_number(3, 2), kBmp + 26, "BMP plane count 1", "3"},
      {"Depth", kBmp + 28, wire_number(24, 2), kBmp + 28, "BMP bits per pixel 8", "24"},
      {"Compression", kBmp + 30, wire_number(1, 4), kBmp + 30, "BMP compression 0", "1"},
      {"ImageSize", kBmp + 34, wire_number(6, 4), kBmp + 34, "BMP image size 0", "6"},
      {"XResolution", kBmp + 38, wire_number(11811, 4), kBmp + 38, "BMP horizontal resolution 0",
       "11811"},
      {"YResolution", kBmp + 42, wire_number(11811, 4), kBmp + 42, "BMP vertical resolution 0",
       "11811"},
      {"ColorsUsed", kBmp + 46, wire_number(256, 4), kBmp + 46, "BMP colors used 0", "256"},
      {"ColorsImportant", kBmp + 50, wire_number(2, 4), kBmp + 50, "BMP important colors 0", "2"},
      {"FirstPaletteEntry", kBmp + 54, "\x01", kBmp + 54, "palette entry 0: 00 00 00 00",
       "01 00 00 00"},
      {"PaletteEntry", kBmp + 54 + 68 + 2, "\x10", kBmp + 54 + 68, "palette entry 17: 11 11 11 00",
       "11 11 10 00"},
      {"LastPaletteEntry", kBmp + 54 + 1020 + 3, "\xff", kBmp + 54 + 1020,
       "palette entry 255: ff ff ff 00", "ff ff ff ff"},
      {"Padding", kBmp + 1087, "\x05", kBmp + 1078, "10 bytes of 0 between palette and pixels",
       "00 00 00 00 00 00 00 00 00 05"},
      {"SecondImageEscape", kImage, "B", kImage, "the escape (0x1b) of a command", "0x42"},
      {"SecondImageName", kImage + 8, "Y", kImage + 8, "name \"MPLANE          \"",
       "\"YPLANE          \""},
      {"SecondImageLength", kImage + 24, "00001095", kImage + 24,
       "image length 1094, as in the sheet's first plane", "1095"},
      {"SecondImageWidth", kImage + kBmp + 18, wire_number(2, 4), kImage + kBmp + 18, "BMP width 3",
       "2"},
      {"SecondImageHeight", kImage + kBmp + 22, wire_number(1, 4), kImage + kBmp + 22,
       "BMP height 2", "1"},
      {"ThirdImageName", 2 * kImage + 8, "M", 2 * kImage + 8, "name \"CPLANE          \"",
       "\"MPLANE          \""},
      {"ControlGroup", kControls + 2, "STATUS", kControls + 2, "group \"CNTRL \"", "\"STATUS\""},
      {"ControlName", kControls + 8, "UNDERCOA", kControls + 8,
       "name \"OVERCOAT        \" or \"CUTTER          \"", "\"UNDERCOA        \""},
      {"ControlLength", kControls + 24, "00000004", kControls + 24,
       "length \"00000008\" of a control's parameter", "\"00000004\""},
      {"OvercoatOfAGlossySheet", kControls + 32, "00000000", kControls + 32,
       "OVERCOAT parameter \"00000001\"", "\"00000000\""},
      {"SecondOvercoat", kControls + 48, "OVERCOAT", kControls + 48, "name \"CUTTER          \"",
       "\"OVERCOAT        \""},
      {"CutterValue", kControls + 72, "00000002", kControls + 72,
       "CUTTER parameter \"00000000\", \"00000001\" or \"00000120\"", "\"00000002\""},
      {"CutterValueWithBlanks", kControls + 72, "     120", kControls + 72,
       "CUTTER parameter \"00000000\", \"00000001\" or \"00000120\"", "\"     120\""},
      {"StartName", kControls + 88, "STARE", kControls + 88, "name \"START           \"",
       "\"STARE           \""},
      {"StartLength", kControls + 104, "00000000", kControls + 104,
       "eight blanks: no payload follows START", "\"00000000\""},
  };
  return fields;
}

class WrongFieldTest : public testing::TestWithParam<WrongField> {};

TEST_P(WrongFieldTest, IsReportedWithItsOffset) {
  const WrongField& field = GetParam();
  std::string stream = matte_sheet();
  stream.replace(field.offset, field.bytes.size(), field.bytes);
  const k905::ParsedStream parsed = parse(stream);
  ASSERT_TRUE(parsed.error);
  EXPECT_EQ(parsed.error->offset, field.error_offset);
  EXPECT_EQ(parsed.error->expected, field.expected);
  EXPECT_EQ(parsed.error->found, field.found);
  EXPECT_TRUE(parsed.sheets.empty());
}

INSTANTIATE_TEST_SUITE_P(PrinterStream, WrongFieldTest, testing::ValuesIn(wrong_fields()),
                         [](const auto& field) { return std::string(field.param.name); });

TEST(PrinterStream, EveryByteOfASheetButItsPixelsIsChecked) {
  const std::string valid = matte_sheet();
  for (std::size_t at = 0; at < valid.size(); ++at) {
    std::string wrong = valid;
    wrong[at] = static_cast<char>(wrong[at] ^ 0x80);
    const bool is_pixel = at < kControls && at % kImage >= kBmp + 1088;
    EXPECT_EQ(parse(wrong).error.has_value(), !is_pixel) << "byte " << at;
  }
}

TEST(PrinterStream, BytesBetweenCommandsAreFound) {
  std::string stream = wire_sheet({});
  stream.insert(kImage, "\n");
  EXPECT_EQ(parse_error(stream),
            "offset 1126: expected the escape (0x1b) of a command, found 0x0a");
}

TEST(PrinterStream, BytesAfterTheLastSheetAreAnError) {
  const std::string stream = wire_sheet({});
  EXPECT_EQ(parse_error(stream + "\n"),
            "offset " + std::to_string(stream.size()) +
                ": expected the escape (0x1b) of a command, found 0x0a");
}

TEST(PrinterStream, SheetWithoutCutterIsAnError) {
  SheetContent sheet;
  std::string stream = wire_sheet(sheet);
  stream.erase(kControls, 40);
  EXPECT_EQ(parse_error(stream),
            "offset " + std::to_string(kControls + 8) +
                ": expected name \"OVERCOAT        \" or \"CUTTER          \", "
                "found \"START           \"");
}

TEST(PrinterStream, OvercoatAfterTheCutterIsAnError) {
  const std::string valid = matte_sheet();
  const std::string stream = valid.substr(0, kControls) + valid.substr(kControls + 40, 40) +
                             valid.substr(kControls, 40) + valid.substr(kControls + 80);
  EXPECT_EQ(parse_error(stream), "offset " + std::to_string(kControls + 48) +
                                     ": expected name \"START           \", found "
                                     "\"OVERCOAT        \"");
}

TEST(PrinterStream, TruncatedSheetIsAnErrorAtItsEnd) {
  const std::string valid = matte_sheet();
  for (std::size_t size = 1; size < valid.size(); ++size) {
    const k905::ParsedStream parsed = parse(valid.substr(0, size));
    ASSERT_TRUE(parsed.error) << size;
    EXPECT_EQ(parsed.error->offset, size);
    EXPECT_EQ(parsed.error->found, "the end of the stream");
  }
  EXPECT_EQ(parse_error(valid.substr(0, 30)),
            "offset 30: expected the whole IMAGE YPLANE command, found the end of the stream");
  EXPECT_EQ(parse_error(valid.substr(0, kImage - 2)),
            "offset 1124: expected 2 more bytes of YPLANE, found the end of the stream");
  EXPECT_EQ(parse_error(valid.substr(0, kImage)),
            "offset 1126: expected the whole IMAGE MPLANE command, found the end of the stream");
  EXPECT_EQ(parse_error(valid.substr(0, kControls)),
            "offset 3378: expected the whole CNTRL OVERCOAT or CNTRL CUTTER command, found the end "
            "of the stream");
  EXPECT_EQ(parse_error(valid.substr(0, kControls + 41)),
            "offset 3419: expected the whole CNTRL CUTTER command, found the end of the stream");
  EXPECT_EQ(parse_error(valid.substr(0, kControls + 90)),
            "offset 3468: expected the whole CNTRL START command, found the end of the stream");
}

TEST(PrinterStream, PiecesOfAnySizeGiveTheSameSheetsAndErrors) {
  std::string wrong = matte_sheet() + matte_sheet();
  wrong[matte_sheet().size() + kImage + kBmp + 58] = 5;
  for (const std::string& stream : {matte_sheet() + wire_sheet({}), wrong}) {
    const k905::ParsedStream at_once = parse(stream);
    for (std::size_t piece : {1U, 2U, 3U, 7U, 31U, 33U, 1000U, 1126U}) {
      std::vector<k905::Sheet> sheets;
      k905::PrinterStreamParser parser(
          [&sheets](k905::Sheet&& sheet) { sheets.push_back(std::move(sheet)); });
      for (std::size_t at = 0; at < stream.size(); at += piece) {
        parser.feed(reinterpret_cast<const std::uint8_t*>(stream.data()) + at,
                    std::min(piece, stream.size() - at));
      }
      parser.finish();
      ASSERT_EQ(sheets.size(), at_once.sheets.size()) << piece;
      EXPECT_EQ(sheets[0].plane[1], at_once.sheets[0].plane[1]);
      ASSERT_EQ(parser.error().has_value(), at_once.error.has_value());
      if (at_once.error) {
        EXPECT_EQ(describe(*parser.error()), describe(*at_once.error));
      }
    }
  }
}

TEST(PrinterStream, ReportsWhetherItIsBetweenSheets) {
  const std::string stream = wire_sheet({});
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(stream.data());
  k905::PrinterStreamParser parser([](k905::Sheet&&) {});
  EXPECT_TRUE(parser.at_sheet_boundary());
  EXPECT_TRUE(parser.feed(bytes, 1));
  EXPECT_FALSE(parser.at_sheet_boundary());
  EXPECT_TRUE(parser.feed(bytes + 1, stream.size() - 1));
  EXPECT_TRUE(parser.at_sheet_boundary());
  EXPECT_TRUE(parser.finish());
}

TEST(PrinterStream, BytesAfterAnErrorAreIgnored) {
  int sheets = 0;
  k905::PrinterStreamParser parser([&sheets](k905::Sheet&&) { ++sheets; });
  const std::uint8_t wrong = 'x';
  EXPECT_FALSE(parser.feed(&wrong, 1));
  const std::string stream = wire_sheet({});
  EXPECT_FALSE(parser.feed(reinterpret_cast<const std::uint8_t*>(stream.data()), stream.size()));
  EXPECT_FALSE(parser.finish());
  EXPECT_FALSE(parser.at_sheet_boundary());
  EXPECT_EQ(sheets, 0);
  EXPECT_EQ(parser.error()->offset, 0U);
}

// The well-known FNV-1a values of "" and "a" and "foobar".
TEST(PlaneChecksum, IsFnv1a) {
  EXPECT_EQ(k905::plane_checksum({}), 0xcbf29ce484222325ULL);
  EXPECT_EQ(k905::plane_checksum({'a'}), 0xaf63dc4c8601ec8cULL);
  EXPECT_EQ(k905::plane_checksum({'f', 'o', 'o', 'b', 'a', 'r'}), 0x85944171f73967e8ULL);
}

TEST(StreamDump, ShowsEveryBlockOfASheet) {
  SheetContent sheet;
  sheet.width = 1;
  sheet.height = 1;
  sheet.plane = {{{'a'}, {'a'}, {'a'}}};
  sheet.matte = true;
  sheet.cutter = "00000120";
  EXPECT_EQ(dump_sheet(parse(wire_sheet(sheet)).sheets[0], 4),
            "sheet 4: offset 0, 3475 bytes, 1 x 1, matte, cutter 120\n"
            "         0 ESC P [IMAGE ] [YPLANE          ] [00001089]\n"
            "           BMP size 1089, pixels at 1088, 1 x 1, 8 bit, gray palette of 256\n"
            "           pixels 1, checksum af63dc4c8601ec8c\n"
            "      1121 ESC P [IMAGE ] [MPLANE          ] [00001089]\n"
            "           BMP size 1089, pixels at 1088, 1 x 1, 8 bit, gray palette of 256\n"
            "           pixels 1, checksum af63dc4c8601ec8c\n"
            "      2242 ESC P [IMAGE ] [CPLANE          ] [00001089]\n"
            "           BMP size 1089, pixels at 1088, 1 x 1, 8 bit, gray palette of 256\n"
            "           pixels 1, checksum af63dc4c8601ec8c\n"
            "      3363 ESC P [CNTRL ] [OVERCOAT        ] [00000008] parameter 00000001\n"
            "      3403 ESC P [CNTRL ] [CUTTER          ] [00000008] parameter 00000120\n"
            "      3443 ESC P [CNTRL ] [START           ] [        ]\n");
}

}  // namespace
