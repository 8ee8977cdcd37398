// k905-print with the simulated printer: the photos that are sent are printed.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "tests/apps/picture_files.h"
#include "tests/apps/programs.h"
#include "tests/print/running_program.h"
#include "tests/support/build_paths.h"
#include "tests/support/profile_builder.h"
#include "tests/support/simulated_printer.h"

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

// Dark on the left, bright on the right, bluer in the lower half: every rotation looks different.
std::vector<std::uint8_t> rows_of(std::uint32_t width, std::uint32_t height,
                                  std::size_t channels = 3) {
  std::vector<std::uint8_t> rows;
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const auto across = static_cast<std::uint8_t>(20 + 200 * x / width);
      const auto down = static_cast<std::uint8_t>(60 + 90 * y / height);
      const std::uint8_t samples[] = {across, 100, down, 240};
      rows.insert(rows.end(), samples, samples + channels);
    }
  }
  return rows;
}

class PrintToPrinter : public testing::Test {
 protected:
  ChildResult print(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--to", printer_.path()});
    return run_program(folder_, "k905-print", arguments);
  }

  void put(const std::string& name, std::uint32_t width = 60, std::uint32_t height = 40) const {
    folder_.write(name, png_file(width, height, {}, rows_of(width, height)));
  }

  [[nodiscard]] k905::Picture sheet(int number) const {
    return picture_in(folder_, "sheets/sheet-000" + std::to_string(number) + ".png");
  }

  ScratchFolder folder_;
  SimulatedPrinter printer_{{"--sheets", folder_.path() + "/sheets"}};
};

TEST_F(PrintToPrinter, EveryKindOfPhotoIsPrintedAsPreviewed) {
  const auto profile = [](const std::string& bytes) {
    return std::vector<std::uint8_t>(bytes.begin(), bytes.end());
  };
  const auto jpeg = [&](std::size_t channels, JpegKind kind) {
    kind.channels = static_cast<int>(channels);
    return jpeg_file(60, 40, kind, rows_of(60, 40, channels));
  };
  const std::vector<std::pair<std::string, std::string>> files{
      {"plain.png", png_file(60, 40, {}, rows_of(60, 40))},
      {"gray.jpg", jpeg(1, {})},
      {"color.jpg", jpeg(3, {})},
      {"turned.jpg", jpeg(3, {.orientation = 8})},
      {"inks.jpg", jpeg(4, {})},
      {"inks_with_profile.jpg", jpeg(4, {.profile = profile(cmyk_table_profile())})},
      {"profiled.png", png_file(60, 40, {.profile = profile(wide_rgb_profile())}, rows_of(60, 40))},
  };
  std::vector<std::string> names;
  for (const auto& [name, bytes] : files) {
    folder_.write(name, bytes);
    names.push_back(name);
  }
  const ChildResult printed = print(names);
  ASSERT_EQ(printed.status, 0) << printed.log;
  names.insert(names.begin(), {"--preview", "preview.png"});
  ASSERT_EQ(run_program(folder_, "k905-print", names).status, 0);
  for (std::size_t i = 0; i < files.size(); ++i) {
    EXPECT_THAT(printer_.next_line(),
                StartsWith("sheet " + std::to_string(i + 1) + ": 1920x1240, glossy, cutter 0, "));
    const std::string number = i == 0 ? "" : "-" + std::to_string(i + 1);
    const k905::Picture shown = picture_in(folder_, "preview" + number + ".png");
    EXPECT_EQ(sheet(static_cast<int>(i) + 1).bytes, shown.bytes) << files[i].first;
  }
  // Different photos give different sheets: no comparison above is between two white sheets.
  EXPECT_NE(sheet(3).bytes, sheet(4).bytes);
  EXPECT_NE(sheet(5).bytes, sheet(6).bytes);
  EXPECT_NE(sheet(1).bytes, sheet(7).bytes);
}

TEST_F(PrintToPrinter, FinishCutAndCopiesArrive) {
  put("a.png");
  ASSERT_EQ(print({"--finish", "Matte", "--paper", "6x2*4", "-n", "2", "a.png"}).status, 0);
  EXPECT_THAT(printer_.next_line(), StartsWith("sheet 1: 1920x2436, matte, cutter 120, "));
  EXPECT_THAT(printer_.next_line(), EndsWith(", 398 left"));
  EXPECT_EQ(sheet(1).bytes, sheet(2).bytes);
}

TEST_F(PrintToPrinter, TwoPhotosShareASheet) {
  put("a.png");
  put("b.png");
  ASSERT_EQ(print({"--two-up", "a.png", "b.png"}).status, 0);
  EXPECT_THAT(printer_.next_line(), StartsWith("sheet 1: 1920x2498, "));
}

TEST_F(PrintToPrinter, FittedPhotoHasWhiteEdges) {
  put("square.png", 40, 40);
  ASSERT_EQ(print({"--fit", "square.png"}).status, 0);
  EXPECT_THAT(printer_.next_line(), StartsWith("sheet 1: "));
  const k905::Picture seen = sheet(1);
  // The visible area is 1800 x 1197 pixels; the square covers the 1197 columns in the middle.
  const auto at = [&](std::size_t x) { return seen.bytes[(598 * seen.width + x) * 3]; };
  EXPECT_EQ(at(290), 255);
  EXPECT_LT(at(310), 60);
}

TEST_F(PrintToPrinter, BrokenPhotoIsReportedAndTheOthersArePrinted) {
  put("a.png");
  put("b.png");
  folder_.write("broken.png", "\x89PNG broken");
  const ChildResult result = print({"a.png", "broken.png", "b.png"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.log, StartsWith("k905-print: broken.png: "));
  EXPECT_EQ(result.output, "a.png -> " + printer_.path() + ", 399 prints left\nb.png -> " +
                               printer_.path() + ", 398 prints left\n");
  EXPECT_THAT(printer_.next_line(), StartsWith("sheet 1: "));
  EXPECT_THAT(printer_.next_line(), EndsWith(", 398 left"));
}

TEST_F(PrintToPrinter, PrinterReportsFewerPrintsLeft) {
  put("a.png");
  ASSERT_EQ(print({"a.png"}).status, 0);
  EXPECT_THAT(printer_.next_line(), EndsWith(", 399 left"));
  ChildSetup question;
  question.program = K905_BINARY_DIR "/k905-status";
  question.arguments = {"k905-status", "--json", printer_.path()};
  question.environment = {{"CUPS_SERVER", "/nowhere/cups.sock"}, {"PATH", "/usr/bin:/bin"}};
  const ChildResult answer = run_child(question);
  EXPECT_EQ(answer.status, 0);
  EXPECT_THAT(answer.output, HasSubstr("\"prints_left\": 399, "));
}

TEST_F(PrintToPrinter, AWatchedFolderIsPrintedOnceAcrossARestart) {
  std::filesystem::create_directory(folder_.path() + "/in");
  const std::map<std::string, std::string> environment{
      {"XDG_STATE_HOME", folder_.path() + "/state"}, {"PATH", "/usr/bin:/bin"}};
  for (const char* name : {"a.png", "b.png"}) {
    put(std::string("in/") + name);
    RunningProgram program(K905_BINARY_DIR "/k905-print",
                           {"--watch", folder_.path() + "/in", "--to", printer_.path()},
                           environment);
    EXPECT_TRUE(program.wait_for_output(std::string(name) + " -> ")) << program.output();
    program.send_signal(SIGTERM);
    EXPECT_EQ(program.wait(), 0);
  }
  EXPECT_THAT(printer_.next_line(), EndsWith(", 399 left"));
  EXPECT_THAT(printer_.next_line(), EndsWith(", 398 left"));
  EXPECT_FALSE(std::filesystem::exists(folder_.path() + "/sheets/sheet-0003.png"));
  ChildSetup history;
  history.program = K905_BINARY_DIR "/k905-print";
  history.arguments = {"k905-print", "--history"};
  history.environment = environment;
  const std::string from = "  " + printer_.path() + "  serial number SIM00000001  life counter ";
  EXPECT_THAT(run_child(history).output,
              AllOf(HasSubstr("/a.png" + from + "1235\n"), EndsWith("/b.png" + from + "1236\n")));
  history.arguments.emplace_back("--json");
  EXPECT_THAT(run_child(history).output,
              HasSubstr("\"serial_number\":\"SIM00000001\",\"life_counter\":1236,"));
}

TEST_F(PrintToPrinter, JsonNamesThePrinterAndItsLifeCounterAfterThePhoto) {
  put("a.png");
  EXPECT_THAT(print({"--json", "-n", "2", "a.png"}).output,
              HasSubstr("\"serial_number\":\"SIM00000001\",\"life_counter\":1236,"));
}

TEST_F(PrintToPrinter, DisconnectedPrinterIsAFailure) {
  put("a.png");
  const std::string device = printer_.path();
  // While the terminal is open, its name is not given to the printer of another test.
  const int terminal = open(device.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(terminal, 0);
  EXPECT_EQ(printer_.end(SIGTERM), 0);
  const ChildResult result = print({"a.png"});
  close(terminal);
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.log, StartsWith("k905-print: " + device + ": "));
}

TEST(PrintProgram, BrokenProfileIsReportedAndThePhotoIsPrinted) {
  const ScratchFolder folder;
  PngKind broken;
  broken.profile = profile_for("RGB ");
  folder.write("photo.png", png_file(60, 40, broken, rows_of(60, 40)));
  const ChildResult result =
      run_program(folder, "k905-print", {"--preview", "sheet.png", "photo.png"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.log,
            "k905-print: photo.png: its color profile is broken; its colors are treated as sRGB\n");
  EXPECT_EQ(picture_in(folder, "sheet.png").height, 1197U);
}

}  // namespace
