// The long listing of a header, compared whole: a person reads it line by line, so every blank
// counts.

#include "geometry/header_dump.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tests/geometry/page_headers.h"
#include "tests/support/captured_log.h"

namespace {

// A header whose fields all differ, so that two of them cannot be mixed up unseen.
cups_page_header2_t header_of_many_numbers() {
  cups_page_header2_t header{};
  std::strcpy(header.MediaClass, "Photo Class");
  std::strcpy(header.MediaColor, "White Color");
  std::strcpy(header.MediaType, "Glossy Type");
  std::strcpy(header.OutputType, "Best Output");
  header.AdvanceDistance = 101;
  header.AdvanceMedia = CUPS_ADVANCE_FILE;
  header.Collate = CUPS_TRUE;
  header.CutMedia = CUPS_CUT_PAGE;
  header.Duplex = CUPS_FALSE;
  header.HWResolution[0] = 300;
  header.HWResolution[1] = 600;
  header.ImagingBoundingBox[0] = 11;
  header.ImagingBoundingBox[1] = 12;
  header.ImagingBoundingBox[2] = 13;
  header.ImagingBoundingBox[3] = 14;
  header.InsertSheet = CUPS_FALSE;
  header.Jog = CUPS_JOG_SET;
  header.LeadingEdge = CUPS_EDGE_BOTTOM;
  header.Margins[0] = 21;
  header.Margins[1] = 22;
  header.ManualFeed = CUPS_TRUE;
  header.MediaPosition = 31;
  header.MediaWeight = 230;
  header.MirrorPrint = CUPS_FALSE;
  header.NegativePrint = CUPS_TRUE;
  header.NumCopies = 4;
  header.Orientation = CUPS_ORIENT_270;
  header.OutputFaceUp = CUPS_TRUE;
  header.PageSize[0] = 461;
  header.PageSize[1] = 585;
  header.Separations = CUPS_FALSE;
  header.TraySwitch = CUPS_TRUE;
  header.Tumble = CUPS_TRUE;
  header.cupsWidth = 1921;
  header.cupsHeight = 2437;
  header.cupsMediaType = 41;
  header.cupsBitsPerColor = 8;
  header.cupsBitsPerPixel = 24;
  header.cupsBytesPerLine = 5764;
  header.cupsColorOrder = CUPS_ORDER_PLANAR;
  header.cupsColorSpace = CUPS_CSPACE_RGB;
  header.cupsCompression = 2;
  header.cupsRowCount = 51;
  header.cupsRowFeed = 52;
  header.cupsRowStep = 53;
  header.cupsNumColors = 3;
  header.cupsBorderlessScalingFactor = 1.25F;
  return header;
}

// 461 / 72 = 6.402777..., 585 / 72 = 8.125 (an exact half, printed to the even digit),
// 24 * 1921 / 8 = 5763.
constexpr char kDumpOfManyNumbers[] =
    "========== Detailed CUPS Page Header Information ==========\n"
    "\n"
    "=== Basic Image Information ===\n"
    "Image Dimensions:      1921 x 2437 pixels\n"
    "Page Size:             461 x 585 points (6.40 x 8.12 inches)\n"
    "Resolution:            300 x 600 DPI\n"
    "\n"
    "=== Color Information ===\n"
    "Color Space:           1\n"
    "\n"
    "=== Debug: All CUPS Header Fields ===\n"
    "cupsColorSpace: 1\n"
    "cupsNumColors: 3\n"
    "cupsBitsPerColor: 8\n"
    "cupsBitsPerPixel: 24\n"
    "cupsBytesPerLine: 5764\n"
    "cupsColorOrder: 2\n"
    "cupsCompression: 2\n"
    "Color Space:           RGB\n"
    "Number of Colors:      3\n"
    "Bits per Color:        8\n"
    "Bits per Pixel:        24\n"
    "Bytes per Line:        5764 (calculated: 5763 bytes)\n"
    "Color Order:           2\n"
    "Color Order:           Planar\n"
    "\n"
    "=== Media Information ===\n"
    "Media Class:           'Photo Class'\n"
    "Media Color:           'White Color'\n"
    "Media Type:            'Glossy Type'\n"
    "Media Weight:          230 g/m²\n"
    "Media Position:        31\n"
    "\n"
    "=== Print Settings ===\n"
    "Number of Copies:      4\n"
    "Collate:               Yes\n"
    "Duplex:                No\n"
    "Tumble:                Yes\n"
    "Mirror Print:          No\n"
    "Negative Print:        Yes\n"
    "Orientation:           3\n"
    "Orientation:           Reverse Landscape (270°)\n"
    "\n"
    "=== Borders and Margins ===\n"
    "Margins:               [21, 22] points (left,bottom)\n"
    "Imaging Bounding Box:  [11, 12, 13, 14] points\n"
    "Borderless Scaling:    1.2500\n"
    "\n"
    "=== Feed Settings ===\n"
    "Manual Feed:           Yes\n"
    "Insert Sheet:          No\n"
    "Advance Distance:      101 points\n"
    "Advance Media:         1\n"
    "Cut Media:             4\n"
    "Jog:                   3\n"
    "Leading Edge:          2\n"
    "\n"
    "=== Output Settings ===\n"
    "Output Type:           'Best Output'\n"
    "Output Face Up:        Yes\n"
    "Separations:           No\n"
    "Tray Switch:           Yes\n"
    "\n"
    "=== Compression and Banding ===\n"
    "Compression:           2\n"
    "Compression:           Delta Row\n"
    "Row Count:             51\n"
    "Row Feed:              52\n"
    "Row Step:              53\n"
    "\n"
    "=== CUPS Specific Values ===\n"
    "cupsMediaType:         41\n"
    "\n"
    "========== End of Detailed Information ==========\n";

std::string dump_of(const cups_page_header2_t& header) {
  return captured_log([&] { log_header_dump(header); });
}

std::string validation_of(const cups_page_header2_t& header) {
  return captured_log([&] { log_header_validation(header); });
}

// The values of all lines of the dump that begin with `label`, one after the other.
std::string values_of(const std::string& dump, const std::string& label) {
  std::string values;
  for (const std::string& line : lines_of(dump)) {
    if (line.rfind(label, 0) == 0) {
      values += line.substr(label.size()) + "|";
    }
  }
  return values;
}

TEST(HeaderDump, ListsEveryFieldInItsPlace) {
  EXPECT_EQ(dump_of(header_of_many_numbers()), kDumpOfManyNumbers);
}

TEST(HeaderDump, EveryFlagIsReadFromItsOwnField) {
  cups_page_header2_t header = header_of_many_numbers();
  for (cups_bool_t* flag : {&header.Collate, &header.Duplex, &header.Tumble, &header.MirrorPrint,
                            &header.NegativePrint, &header.ManualFeed, &header.InsertSheet,
                            &header.OutputFaceUp, &header.Separations, &header.TraySwitch}) {
    *flag = *flag == CUPS_TRUE ? CUPS_FALSE : CUPS_TRUE;
  }
  const std::string dump = dump_of(header);
  EXPECT_EQ(values_of(dump, "Collate:               "), "No|");
  EXPECT_EQ(values_of(dump, "Duplex:                "), "Yes|");
  EXPECT_EQ(values_of(dump, "Tumble:                "), "No|");
  EXPECT_EQ(values_of(dump, "Mirror Print:          "), "Yes|");
  EXPECT_EQ(values_of(dump, "Negative Print:        "), "No|");
  EXPECT_EQ(values_of(dump, "Manual Feed:           "), "No|");
  EXPECT_EQ(values_of(dump, "Insert Sheet:          "), "Yes|");
  EXPECT_EQ(values_of(dump, "Output Face Up:        "), "No|");
  EXPECT_EQ(values_of(dump, "Separations:           "), "Yes|");
  EXPECT_EQ(values_of(dump, "Tray Switch:           "), "No|");
}

TEST(HeaderDump, AnyFlagThatIsNotZeroIsYes) {
  cups_page_header2_t header{};
  set_number(header.Collate, 2);
  set_number(header.Duplex, -1);
  const std::string dump = dump_of(header);
  EXPECT_EQ(values_of(dump, "Collate:               "), "Yes|");
  EXPECT_EQ(values_of(dump, "Duplex:                "), "Yes|");
}

struct NamedNumber {
  std::int32_t number;
  const char* name;
};

TEST(HeaderDump, NamesColorSpacesInThePrintersOwnNumbering) {
  for (const NamedNumber& space : {NamedNumber{0, "W (White)"},
                                   {1, "RGB"},
                                   {2, "RGBA"},
                                   {3, "K (Black)"},
                                   {4, "CMYK"},
                                   {5, "YMCK"},
                                   {6, "CIEXYZ"},
                                   {7, "Other/Unknown"},
                                   {62, "Other/Unknown"},
                                   {2000000000, "Other/Unknown"},
                                   {-1, "Other/Unknown"}}) {
    cups_page_header2_t header{};
    set_number(header.cupsColorSpace, space.number);
    const std::string dump = dump_of(header);
    EXPECT_EQ(values_of(dump, "Color Space:           "),
              std::to_string(space.number) + "|" + space.name + "|");
    EXPECT_EQ(values_of(dump, "cupsColorSpace: "), std::to_string(space.number) + "|");
  }
}

TEST(HeaderDump, NamesColorOrders) {
  for (const NamedNumber& order :
       {NamedNumber{0, "Chunked"}, {1, "Banded"}, {2, "Planar"}, {3, "Unknown"}, {-1, "Unknown"}}) {
    cups_page_header2_t header{};
    set_number(header.cupsColorOrder, order.number);
    EXPECT_EQ(values_of(dump_of(header), "Color Order:           "),
              std::to_string(order.number) + "|" + order.name + "|");
  }
}

TEST(HeaderDump, NamesOrientations) {
  for (const NamedNumber& orientation : {NamedNumber{0, "Portrait (0°)"},
                                         {1, "Landscape (90°)"},
                                         {2, "Reverse Portrait (180°)"},
                                         {3, "Reverse Landscape (270°)"},
                                         {4, "Unknown"},
                                         {-1, "Unknown"}}) {
    cups_page_header2_t header{};
    set_number(header.Orientation, orientation.number);
    EXPECT_EQ(values_of(dump_of(header), "Orientation:           "),
              std::to_string(orientation.number) + "|" + orientation.name + "|");
  }
}

TEST(HeaderDump, NamesCompressions) {
  for (const NamedNumber& compression : {NamedNumber{0, "None"},
                                         {1, "RLE"},
                                         {2, "Delta Row"},
                                         {3, "Delta Plane"},
                                         {4, "Other/Unknown"}}) {
    cups_page_header2_t header{};
    header.cupsCompression = static_cast<unsigned>(compression.number);
    EXPECT_EQ(values_of(dump_of(header), "Compression:           "),
              std::to_string(compression.number) + "|" + compression.name + "|");
  }
}

TEST(HeaderDump, PlainNumbersAreUnsignedAndEnumerationsSigned) {
  cups_page_header2_t header{};
  header.cupsCompression = 0xFFFFFFFFU;
  header.MediaPosition = 0xFFFFFFFEU;
  set_number(header.Jog, -3);
  const std::string dump = dump_of(header);
  EXPECT_EQ(values_of(dump, "Compression:           "), "4294967295|Other/Unknown|");
  EXPECT_EQ(values_of(dump, "cupsCompression: "), "-1|");
  EXPECT_EQ(values_of(dump, "Media Position:        "), "4294967294|");
  EXPECT_EQ(values_of(dump, "Jog:                   "), "-3|");
}

TEST(HeaderDump, TextThatFillsItsFieldEndsWithTheField) {
  cups_page_header2_t header{};
  std::memset(header.MediaClass, 'c', sizeof header.MediaClass);
  std::strcpy(header.MediaColor, "next field");
  const std::string dump = dump_of(header);
  EXPECT_EQ(values_of(dump, "Media Class:           "), "'" + std::string(64, 'c') + "'|");
}

TEST(HeaderDump, LineBreaksInTextDoNotStartLinesOfTheirOwn) {
  cups_page_header2_t header{};
  std::strcpy(header.MediaType, "a\nPAGE: 1 1\rb");
  EXPECT_EQ(values_of(dump_of(header), "Media Type:            "), "'a PAGE: 1 1 b'|");
}

TEST(HeaderValidation, SaysWhenTheNumbersFitTogether) {
  EXPECT_EQ(validation_of(header_6x4()),
            "\n"
            "=== Validation Information ===\n"
            "OK: cupsBytesPerLine matches calculation\n"
            "=================================================\n"
            "\n");
}

TEST(HeaderValidation, ReportsEverythingThatDoesNotFit) {
  cups_page_header2_t header = header_6x4();
  header.HWResolution[1] = 0;
  header.cupsWidth = 0;
  EXPECT_EQ(validation_of(header),
            "\n"
            "=== Validation Information ===\n"
            "WARNING: cupsBytesPerLine (5760) != calculated (0)\n"
            "WARNING: Resolution has zero value!\n"
            "ERROR: Invalid image dimensions!\n"
            "=================================================\n"
            "\n");
}

TEST(HeaderValidation, OneZeroOfTwoIsEnough) {
  cups_page_header2_t header = header_6x4();
  header.HWResolution[0] = 0;
  header.cupsHeight = 0;
  EXPECT_EQ(validation_of(header),
            "\n"
            "=== Validation Information ===\n"
            "OK: cupsBytesPerLine matches calculation\n"
            "WARNING: Resolution has zero value!\n"
            "ERROR: Invalid image dimensions!\n"
            "=================================================\n"
            "\n");
}

TEST(HeaderValidation, AStartedByteOfALineCounts) {
  cups_page_header2_t header = header_6x4();
  header.cupsBitsPerPixel = 1;
  header.cupsWidth = 17;
  header.cupsBytesPerLine = 3;
  EXPECT_EQ(lines_of(validation_of(header))[2], "OK: cupsBytesPerLine matches calculation");
  header.cupsBytesPerLine = 2;
  EXPECT_EQ(lines_of(validation_of(header))[2], "WARNING: cupsBytesPerLine (2) != calculated (3)");
}

// 24 * 0x10000000 = 0x180000000, of which 32 bits keep 0x80000000: (0x80000000 + 7) / 8 =
// 0x10000000.
TEST(HeaderValidation, LineLengthWrapsLikeTheHeadersOwnNumbers) {
  cups_page_header2_t header = header_6x4();
  header.cupsWidth = 0x10000000U;
  EXPECT_EQ(lines_of(validation_of(header))[2],
            "WARNING: cupsBytesPerLine (5760) != calculated (268435456)");
}

}  // namespace
