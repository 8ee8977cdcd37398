// k905-preview as users start it: reads a printer stream, writes images and lines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/apps/programs.h"
#include "tests/support/wire_stream.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// A sheet of 2 x 1: red 10 and 20, green 30 and 40, blue 50 and 60 from the left.
SheetContent small_sheet() {
  SheetContent sheet;
  sheet.width = 2;
  sheet.height = 1;
  sheet.plane = {{{10, 20}, {30, 40}, {50, 60}}};
  return sheet;
}

TEST(PreviewProgram, ShowsTheSheetAsTheCustomerHoldsIt) {
  const ScratchFolder folder;
  const ChildResult result = preview(folder, {}, wire_sheet(small_sheet()));
  EXPECT_EQ(result.status, 0) << result.log;
  EXPECT_THAT(result.log, IsEmpty());
  EXPECT_THAT(picture_in(folder, "sheet-1.png").bytes, ElementsAre(20, 40, 60, 10, 30, 50));
}

TEST(PreviewProgram, RawKeepsTheMirror) {
  const ScratchFolder folder;
  EXPECT_EQ(preview(folder, {"--raw", "-o", "x"}, wire_sheet(small_sheet())).status, 0);
  EXPECT_THAT(picture_in(folder, "x-1.png").bytes, ElementsAre(10, 30, 50, 20, 40, 60));
}

TEST(PreviewProgram, PrintsOneLinePerSheet) {
  const ScratchFolder folder;
  SheetContent sheet;
  sheet.width = 1;
  sheet.height = 1;
  // The 64-bit FNV-1a of "a" is af63dc4c8601ec8c, of "b" af63df4c8601f1a5, of "c" af63de4c8601eff2.
  sheet.plane = {{{'c'}, {'b'}, {'a'}}};
  sheet.matte = true;
  sheet.cutter = "00000120";
  const ChildResult result = preview(folder, {"a.prn", "-"}, wire_sheet(small_sheet()));
  EXPECT_EQ(result.status, 1);
  folder.write("a.prn", wire_sheet(sheet));
  EXPECT_EQ(preview(folder, {"a.prn"}).output,
            "sheet 1: 1 x 1, matte, cutter 120, Y af63dc4c8601ec8c, M af63df4c8601f1a5, "
            "C af63de4c8601eff2 -> sheet-1.png\n");
  sheet.matte = false;
  EXPECT_EQ(preview(folder, {"--check"}, wire_sheet(sheet)).output,
            "sheet 1: 1 x 1, glossy, cutter 120, Y af63dc4c8601ec8c, M af63df4c8601f1a5, "
            "C af63de4c8601eff2\n");
}

TEST(PreviewProgram, NumbersContinueOverSeveralStreams) {
  const ScratchFolder folder;
  folder.write("a.prn", wire_sheet(small_sheet()) + wire_sheet({}));
  const ChildResult result = preview(folder, {"a.prn", "-"}, wire_sheet(small_sheet()));
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, HasSubstr("sheet 2: 3 x 2, "));
  EXPECT_THAT(result.output, HasSubstr("sheet 3: 2 x 1, "));
  EXPECT_EQ(picture_in(folder, "sheet-3.png").width, 2U);
}

TEST(PreviewProgram, NameWithExtensionIsUsedForTheFirstSheet) {
  const ScratchFolder folder;
  const ChildResult result =
      preview(folder, {"-o", "out.png"}, wire_sheet(small_sheet()) + wire_sheet({}));
  EXPECT_THAT(result.output, HasSubstr(" -> out.png\n"));
  EXPECT_THAT(result.output, HasSubstr(" -> out-2.png\n"));
  EXPECT_EQ(picture_in(folder, "out.png").width, 2U);
  EXPECT_EQ(picture_in(folder, "out-2.png").width, 3U);
}

// ".png" alone is a hidden file without an extension.
TEST(PreviewProgram, NameWithoutExtensionGetsOneForEverySheet) {
  const ScratchFolder folder;
  const ChildResult result =
      preview(folder, {"-o", "./.png"}, wire_sheet(small_sheet()) + wire_sheet({}));
  EXPECT_THAT(result.output, HasSubstr(" -> ./.png-1.png\n"));
  EXPECT_THAT(result.output, HasSubstr(" -> ./.png-2.png\n"));
  EXPECT_EQ(picture_in(folder, ".png-1.png").width, 2U);
  EXPECT_EQ(picture_in(folder, ".png-2.png").width, 3U);
}

TEST(PreviewProgram, CheckWritesNoPicture) {
  const ScratchFolder folder;
  EXPECT_EQ(preview(folder, {"--check"}, wire_sheet({})).status, 0);
  EXPECT_FALSE(folder.read("sheet-1.png"));
}

TEST(PreviewProgram, DumpShowsTheBlocks) {
  const ScratchFolder folder;
  const std::string dump = preview(folder, {"--check", "--dump"}, wire_sheet({})).output;
  EXPECT_THAT(dump, StartsWith("sheet 1: offset 0, 3450 bytes, 3 x 2, glossy, cutter 0\n"));
  EXPECT_THAT(dump, HasSubstr("      1126 ESC P [IMAGE ] [MPLANE          ] [00001094]\n"));
  EXPECT_THAT(dump, HasSubstr("ESC P [CNTRL ] [CUTTER          ] [00000008] parameter 00000000\n"));
}

TEST(PreviewProgram, AWidthReducesThePicture) {
  const ScratchFolder folder;
  SheetContent sheet;
  sheet.width = 8;
  sheet.height = 4;
  sheet.plane.fill(std::vector<std::uint8_t>(32, 77));
  EXPECT_EQ(preview(folder, {"-w", "4"}, wire_sheet(sheet)).status, 0);
  const k905::Picture picture = picture_in(folder, "sheet-1.png");
  EXPECT_EQ(picture.width, 4U);
  EXPECT_EQ(picture.height, 2U);
  EXPECT_THAT(picture.bytes, testing::Each(77));
}

// Every pixel is gray 77 except the one at x, y in the visible image.
SheetContent marked_sheet(std::uint32_t height, std::uint32_t x, std::uint32_t y) {
  SheetContent sheet;
  sheet.width = 1920;
  sheet.height = height;
  std::vector<std::uint8_t> plane(std::size_t{1920} * height, 77);
  plane[y * std::size_t{1920} + 1919 - x] = 0;
  sheet.plane.fill(plane);
  return sheet;
}

// Of a 6x4 canvas 70 columns on the left, 50 on the right, 25 rows at the top and 18 at the bottom
// are outside the paper.
TEST(PreviewProgram, MarginsOutsideThePaperAreShownOnlyWithCanvas) {
  const ScratchFolder folder;
  const std::string first = wire_sheet(marked_sheet(1240, 70, 25));
  const std::string last = wire_sheet(marked_sheet(1240, 1919 - 50, 1239 - 18));
  EXPECT_EQ(preview(folder, {}, first + last).status, 0);
  const k905::Picture paper = picture_in(folder, "sheet-1.png");
  EXPECT_EQ(paper.width, 1800U);
  EXPECT_EQ(paper.height, 1197U);
  EXPECT_EQ(paper.bytes.front(), 0);
  EXPECT_EQ(picture_in(folder, "sheet-2.png").bytes.back(), 0);
  EXPECT_EQ(preview(folder, {"--canvas"}, first).status, 0);
  const k905::Picture canvas = picture_in(folder, "sheet-1.png");
  EXPECT_EQ(canvas.width, 1920U);
  EXPECT_EQ(canvas.bytes[(25 * 1920 + 70) * 3], 0);
}

// Strips of the same canvas have other margins: 37 columns on the left, 9 on the right.
TEST(PreviewProgram, CutDistinguishesStripsFromASheet) {
  const ScratchFolder folder;
  SheetContent sheet = marked_sheet(1240, 37, 25);
  sheet.cutter = "00000120";
  EXPECT_EQ(preview(folder, {}, wire_sheet(sheet)).status, 0);
  const k905::Picture strips = picture_in(folder, "sheet-1.png");
  EXPECT_EQ(strips.width, 1874U);
  EXPECT_EQ(strips.bytes.front(), 0);
}

TEST(PreviewProgram, TwoPagesThatShareASheetAreShownSeparately) {
  const ScratchFolder folder;
  // The upper page is moved up by 5 rows, the lower one starts after row 1240 - 5 + 18.
  EXPECT_EQ(preview(folder, {}, wire_sheet(marked_sheet(2498, 70, 25 - 5))).status, 0);
  k905::Picture shown = picture_in(folder, "sheet-1.png");
  EXPECT_EQ(shown.height, 2U * 1197 + 24);
  EXPECT_EQ(shown.bytes.front(), 0);
  EXPECT_EQ(shown.bytes[1197 * shown.row_bytes()], 222);
  EXPECT_EQ(preview(folder, {}, wire_sheet(marked_sheet(2498, 70, 1240 - 5 + 18 + 25))).status, 0);
  shown = picture_in(folder, "sheet-1.png");
  EXPECT_EQ(shown.bytes[(1197 + 24) * shown.row_bytes()], 0);
}

TEST(PreviewProgram, SheetAt600DpiHasItsTrueShape) {
  const ScratchFolder folder;
  const std::string sheet = wire_sheet(marked_sheet(2480, 0, 0));
  EXPECT_EQ(preview(folder, {}, sheet).status, 0);
  EXPECT_EQ(picture_in(folder, "sheet-1.png").width, 1800U);
  EXPECT_EQ(picture_in(folder, "sheet-1.png").height, 1197U);
  EXPECT_EQ(preview(folder, {"--canvas", "-w", "192"}, sheet).status, 0);
  EXPECT_EQ(picture_in(folder, "sheet-1.png").height, 124U);
}

TEST(PreviewProgram, InvalidStreamIsReportedWithOffsetAndExitStatusOne) {
  const ScratchFolder folder;
  std::string stream = wire_sheet(small_sheet()) + wire_sheet({});
  const std::size_t second = wire_sheet(small_sheet()).size();
  stream[second + 8] = 'C';
  const ChildResult result = preview(folder, {"-"}, stream);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log, "k905-preview: standard input: offset " + std::to_string(second + 8) +
                            ": expected name \"YPLANE          \", found \"CPLANE          \"\n");
  EXPECT_THAT(result.output, StartsWith("sheet 1: ")) << "the sheets before the error are listed";
}

TEST(PreviewProgram, StreamThatEndsInsideASheetIsAnError) {
  const ScratchFolder folder;
  folder.write("cut.prn", wire_sheet({}).substr(0, 1124));
  const ChildResult result = preview(folder, {"cut.prn"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log,
            "k905-preview: cut.prn: offset 1124: expected 2 more bytes of YPLANE, found the end of "
            "the stream\n");
}

TEST(PreviewProgram, EmptyStreamIsAnErrorWithExitStatusOne) {
  const ScratchFolder folder;
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{}, {"--check"}, {"--check", "--dump"}, {"--contact", "all.png"}}) {
    const ChildResult result = preview(folder, arguments);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.log, "k905-preview: standard input: no print job, the stream is empty\n");
    EXPECT_THAT(result.output, IsEmpty());
  }
  EXPECT_FALSE(folder.read("all.png"));
}

TEST(PreviewProgram, EmptyFileAmongOthersIsNamed) {
  const ScratchFolder folder;
  folder.write("a.prn", wire_sheet({}));
  folder.write("empty.prn", "");
  const ChildResult result = preview(folder, {"--check", "a.prn", "empty.prn"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log, "k905-preview: empty.prn: no print job, the stream is empty\n");
  EXPECT_THAT(result.output, StartsWith("sheet 1: ")) << "the sheets before the error are listed";
}

TEST(PreviewProgram, UnreadableFileIsReported) {
  const ScratchFolder folder;
  const ChildResult missing = preview(folder, {"missing.prn"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.log, "k905-preview: missing.prn: No such file or directory\n");
  const ChildResult is_folder = preview(folder, {"."});
  EXPECT_EQ(is_folder.status, 1);
  EXPECT_EQ(is_folder.log, "k905-preview: .: Is a directory\n");
}

TEST(PreviewProgram, ImageThatCannotBeWrittenIsReported) {
  const ScratchFolder folder;
  const ChildResult result = preview(folder, {"-o", "no/sheet"}, wire_sheet({}));
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log, "k905-preview: no/sheet-1.png: No such file or directory\n");
}

TEST(PreviewProgram, WrongUsageIsExitStatusTwo) {
  const ScratchFolder folder;
  const std::vector<std::vector<std::string>> wrong = {{"--nonsense"}, {"-w", "0"}, {"-w", "x"}};
  for (const auto& arguments : wrong) {
    const ChildResult result = preview(folder, arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_THAT(result.log, StartsWith("k905-preview: "));
  }
}

TEST(PreviewProgram, HelpAndVersionSucceed) {
  const ScratchFolder folder;
  EXPECT_THAT(preview(folder, {"--help"}).output, HasSubstr("--dump"));
  EXPECT_THAT(preview(folder, {"--version"}).output, StartsWith("k905-preview "));
}

TEST(PreviewProgram, ShowsItsProgressOnATerminal) {
  const ScratchFolder folder;
  folder.write("a.prn", wire_sheet({}) + wire_sheet({}));
  EXPECT_THAT(run_on_terminal(folder, "k905-preview", {"a.prn"}), HasSubstr("sheet 1"));
}

}  // namespace
