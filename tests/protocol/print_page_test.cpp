#include "protocol/print_page.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/captured_log.h"
#include "tests/support/child_process.h"
#include "tests/support/environment_guard.h"
#include "tests/support/system_hooks.h"
#include "tests/support/wire_stream.h"

namespace {

struct Printed {
  std::string bytes;
  std::vector<std::string> log;

  // The number in the first line: how many calls there have been.
  [[nodiscard]] int call() const {
    const std::string front = "K905-1: ===== PRINT CALL #";
    return log.at(0).starts_with(front) ? std::stoi(log.at(0).substr(front.size())) : -1;
  }
  [[nodiscard]] bool has_line(const std::string& line) const {
    return std::find(log.begin(), log.end(), line) != log.end();
  }
};

Printed print_planes(const std::uint8_t* first, const std::uint8_t* second,
                     const std::uint8_t* third, int width, int height) {
  Printed printed;
  const std::string log = captured_log([&] {
    printed.bytes =
        captured_output([&] { print_single_page_to_printer(first, second, third, width, height); });
  });
  printed.log = lines_of(log);
  return printed;
}

Printed print_sheet(int width, int height) {
  const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  const std::vector<std::uint8_t> first(count, 0xc1);
  const std::vector<std::uint8_t> second(count, 0xd2);
  const std::vector<std::uint8_t> third(count, 0xe3);
  return print_planes(first.data(), second.data(), third.data(), width, height);
}

class PrintPage : public testing::Test {
 protected:
  void paper(const char* name) {
    std::snprintf(current_options.ppd_paper_name, sizeof current_options.ppd_paper_name, "%s",
                  name);
  }
  void overcoat(const char* name) {
    std::snprintf(current_options.overcoat, sizeof current_options.overcoat, "%s", name);
  }
  SettingsGuard settings_;
  hooks::Guard hooks_;
};

TEST_F(PrintPage, SheetMatchesTheStreamWrittenByHand) {
  SheetContent sheet{.width = 2, .height = 1, .plane = {{{1, 2}, {3, 4}, {5, 255}}}};
  const auto& plane = sheet.plane;
  const auto printed = [&] {
    return print_planes(plane[0].data(), plane[1].data(), plane[2].data(), 2, 1).bytes;
  };
  EXPECT_EQ(printed(), wire_sheet(sheet));
  for (const char* name : {"matte", "MATTE", "Matte ", ""}) {
    overcoat(name);
    EXPECT_EQ(printed(), wire_sheet(sheet)) << name;
  }
  overcoat("Matte");
  sheet.matte = true;
  EXPECT_EQ(printed(), wire_sheet(sheet));
}

TEST_F(PrintPage, SheetIsSentToTheGivenDescriptorWithItsOwnSettings) {
  const std::uint8_t pixels[] = {1, 2};
  const SheetToPrint sheet{.planes = {pixels, pixels, pixels},
                           .width = 2,
                           .height = 1,
                           .paper_name = "w288h432-div2",
                           .matte = true};
  // The settings of the job are not used.
  paper("w288h432");
  overcoat("Glossy");
  const ScratchFolder folder;
  const std::string path = folder.write("sheet", "");
  const int file = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  SheetResult result = SheetResult::kRefused;
  std::string output;
  const std::string log =
      captured_log([&] { output = captured_output([&] { result = send_sheet(file, sheet); }); });
  close(file);
  EXPECT_EQ(result, SheetResult::kSent);
  EXPECT_EQ(output, "");
  EXPECT_EQ(read_file(path), wire_sheet({.width = 2,
                                         .height = 1,
                                         .plane = {{{1, 2}, {1, 2}, {1, 2}}},
                                         .matte = true,
                                         .cutter = "00000120"}));
  EXPECT_EQ(lines_of(log).front(), "K905-1: Printing single page 2x1");
  EXPECT_EQ(lines_of(log).back(), "K905-1: send CNTRL START");
}

TEST_F(PrintPage, SheetWithAMissingPlaneIsRefused) {
  captured_log([] { EXPECT_EQ(send_sheet(1, {.width = 2, .height = 1}), SheetResult::kRefused); });
}

TEST_F(PrintPage, SheetIsIncompleteWhicheverWriteIsCutOrFails) {
  const std::uint8_t pixels[] = {1, 2};
  const SheetToPrint sheet{
      .planes = {pixels, pixels, pixels}, .width = 2, .height = 1, .paper_name = "", .matte = true};
  // Three writes a plane, then overcoat, cutter and start.
  for (std::size_t call = 0; call < 12; ++call) {
    for (const hooks::Step& step : {hooks::Step{.error = EIO}, hooks::Step{.at_most = 0}}) {
      hooks::write_script = {.descriptor = 1, .steps = {}};
      hooks::write_script.steps.assign(call, {.at_most = 1000000});
      hooks::write_script.steps.push_back(step);
      SheetResult result = SheetResult::kSent;
      captured_log([&] { captured_output([&] { result = send_sheet(1, sheet); }); });
      EXPECT_EQ(result, SheetResult::kIncomplete) << call;
    }
  }
}

TEST_F(PrintPage, SheetIsLoggedLineByLine) {
  std::vector<std::uint8_t> first(101, 9);
  std::vector<std::uint8_t> second(101, 9);
  std::vector<std::uint8_t> third(101, 9);
  // First, middle (101 / 2 = 50) and last pixel.
  first[0] = 1, second[0] = 2, third[0] = 3;
  first[50] = 4, second[50] = 5, third[50] = 6;
  first[100] = 7, second[100] = 8, third[100] = 255;
  overcoat("Matte");
  paper("w288h432");
  const Printed printed = print_planes(first.data(), second.data(), third.data(), 101, 1);
  const std::string call = std::to_string(printed.call());
  EXPECT_EQ(printed.log, (std::vector<std::string>{
                             "K905-1: ===== PRINT CALL #" + call + " =====",
                             "K905-1: Printing single page 101x1",
                             "K905-1: DEBUG: Image size: 101 pixels",
                             "K905-1: DEBUG: First pixel: R=1, G=2, B=3",
                             "K905-1: DEBUG: Middle pixel: R=4, G=5, B=6",
                             "K905-1: DEBUG: Last pixel: R=7, G=8, B=255",
                             "K905-1: DEBUG: Creating BMP planes for 101x1 image",
                             "K905-1: DEBUG: BMP plane sizes: Y=1189, M=1189, C=1189 bytes",
                             "K905-1: DEBUG: Sending Y plane (1189 bytes)",
                             "K905-1: send IMAGE Y PLANE, bytes=1189",
                             "K905-1: DEBUG: Sending M plane (1189 bytes)",
                             "K905-1: send IMAGE M PLANE, bytes=1189",
                             "K905-1: DEBUG: Sending C plane (1189 bytes)",
                             "K905-1: send IMAGE C PLANE, bytes=1189",
                             "K905-1: send CNTRL OVERCOAT mode=1",
                             "K905-1: send CNTRL CUTTER mode=0",
                             "K905-1: send CNTRL START",
                             "K905-1: Single page printed successfully (print call #" + call + ")",
                         }));
}

TEST_F(PrintPage, SheetOfAHundredPixelsLogsNoPixels) {
  const Printed printed = print_sheet(10, 10);
  EXPECT_TRUE(printed.has_line("K905-1: DEBUG: Image size: 100 pixels"));
  for (const std::string& line : printed.log) {
    EXPECT_EQ(line.find("pixel:"), std::string::npos) << line;
  }
}

TEST_F(PrintPage, CallsAreNumberedAndRefusedOnesCount) {
  const int before = print_sheet(1, 1).call();
  EXPECT_GE(before, 1);
  print_planes(nullptr, nullptr, nullptr, 1, 1);
  EXPECT_EQ(print_sheet(1, 1).call(), before + 2);
}

TEST_F(PrintPage, MissingPlaneSendsNothing) {
  const std::uint8_t pixel = 0;
  const std::uint8_t* planes[3] = {&pixel, &pixel, &pixel};
  for (const std::uint8_t*& missing : planes) {
    missing = nullptr;
    const Printed printed = print_planes(planes[0], planes[1], planes[2], 1, 1);
    EXPECT_EQ(printed.bytes, "");
    ASSERT_EQ(printed.log.size(), 3U);
    EXPECT_EQ(printed.log[2], "K905-1: ERROR: Null plane pointers!");
    missing = &pixel;
  }
}

TEST_F(PrintPage, InvalidSideSendsNothing) {
  const std::uint8_t pixel = 0;
  const std::pair<int, int> refused[] = {{0, 10},    {10, 0},  {5001, 10},
                                         {10, 5001}, {-1, 10}, {10, -2147483647 - 1}};
  for (const auto& [width, height] : refused) {
    const Printed printed = print_planes(&pixel, &pixel, &pixel, width, height);
    const std::string size = std::to_string(width) + "x" + std::to_string(height);
    EXPECT_EQ(printed.bytes, "");
    ASSERT_EQ(printed.log.size(), 3U) << size;
    EXPECT_EQ(printed.log[1], "K905-1: Printing single page " + size);
    EXPECT_EQ(printed.log[2], "K905-1: ERROR: Invalid image dimensions: " + size);
  }
}

TEST_F(PrintPage, SidesOfFiveThousandArePrinted) {
  const Printed printed = print_sheet(5000, 5000);
  // Three blocks, three images of 25000000 + 1088 bytes, cutter, start.
  EXPECT_EQ(printed.bytes.size(), 3U * (32 + 25001088) + 40 + 32);
  EXPECT_EQ(printed.bytes.substr(24, 8), "25001088");
}

TEST_F(PrintPage, NothingIsAllocatedForASheet) {
  const std::vector<std::uint8_t> plane(640, 0x55);
  std::string bytes;
  const std::string log = captured_log([&] {
    bytes = captured_output([&] {
      hooks::malloc_fails = true;
      print_single_page_to_printer(plane.data(), plane.data(), plane.data(), 20, 32);
      hooks::malloc_fails = false;
    });
  });
  EXPECT_EQ(bytes.size(), 3U * (32 + 1088 + 640) + 40 + 32);
}

TEST_F(PrintPage, SheetIsSyncedWhenAllOfItIsWritten) {
  const Printed printed = print_sheet(2, 1);
  EXPECT_EQ(hooks::synced_after, std::vector<std::size_t>{printed.bytes.size()});
}

// The call that fails: 0 is the block of Y, 1 its header, 2 its pixels, 3 the block of M...
void fail_call(std::size_t call, hooks::Step step) {
  hooks::write_script = {.descriptor = 1, .steps = {}};
  for (std::size_t before = 0; before < call; ++before) {
    hooks::write_script.steps.push_back({.at_most = 1000000});
  }
  hooks::write_script.steps.push_back(step);
}

TEST_F(PrintPage, FailedPlaneIsLoggedAndTheSheetContinues) {
  const char letters[] = {'Y', 'M', 'C'};
  const Printed complete = print_sheet(2, 1);
  for (std::size_t plane = 0; plane < 3; ++plane) {
    for (std::size_t part = 0; part < 3; ++part) {
      const std::size_t sizes[] = {32, 1088, 2};
      fail_call(3 * plane + part, {.error = EIO});
      const Printed printed = print_sheet(2, 1);
      // What follows the failed write in the same image is not sent.
      std::size_t kept = 0;
      for (std::size_t before = 0; before < part; ++before) {
        kept += sizes[before];
      }
      EXPECT_EQ(printed.bytes, complete.bytes.substr(0, plane * 1122 + kept) +
                                   complete.bytes.substr((plane + 1) * 1122));
      EXPECT_TRUE(printed.has_line("K905-1: write error: Input/output error"));
      EXPECT_TRUE(
          printed.has_line(std::string("K905-1: send ") + letters[plane] + " plane failed"));
      EXPECT_EQ(printed.log.size(), complete.log.size() + 2);
      EXPECT_EQ(printed.log.back(), "K905-1: Single page printed successfully (print call #" +
                                        std::to_string(printed.call()) + ")");
    }
  }
}

TEST_F(PrintPage, WriteOfZeroBytesEndsItsPartWithoutAFailure) {
  const Printed complete = print_sheet(2, 1);
  // Begin and end of the missing bytes of Y, which has 1122, if the write of its block, its header
  // or its pixels returns 0.
  const std::pair<std::size_t, std::size_t> missing[] = {{0, 32}, {32, 1122}, {1120, 1122}};
  for (std::size_t call = 0; call < std::size(missing); ++call) {
    fail_call(call, {.at_most = 0});
    const Printed printed = print_sheet(2, 1);
    EXPECT_EQ(printed.bytes, complete.bytes.substr(0, missing[call].first) +
                                 complete.bytes.substr(missing[call].second));
    EXPECT_TRUE(printed.has_line("K905-1: write returned 0"));
    EXPECT_FALSE(printed.has_line("K905-1: send Y plane failed"));
  }
}

TEST_F(PrintPage, FailedStartIsLoggedAsAWriteError) {
  fail_call(10, {.error = EIO});
  const Printed printed = print_sheet(2, 1);
  EXPECT_EQ(printed.bytes.find("START"), std::string::npos);
  ASSERT_GE(printed.log.size(), 2U);
  EXPECT_EQ(printed.log[printed.log.size() - 2], "K905-1: write error: Input/output error");
}

constexpr char kMerged[] =
    "K905-1: 6x4 merged to 6x8 (w432h576-div2) detected, setting cutMode = 1 (middle cut)";
constexpr char kDiv2[] = "K905-1: div2 paper detected, setting cutMode = 2";

TEST_F(PrintPage, CutterFollowsFromPaperNameAndSheetSize) {
  const struct {
    const char* paper;
    int width;
    int height;
    const char* parameter;
    const char* line;
  } cases[] = {
      {"w288h432-div2", 1920, 2498, "00000000", kMerged},
      {"w288h432-div2", 1920, 1240, "00000120", kDiv2},
      {"w288h432-div2", 1919, 2498, "00000120", kDiv2},
      {"w288h432-div2", 1920, 2497, "00000120", kDiv2},
      {"w288h432", 1920, 2498, "00000000", kMerged},
      {"Photo6x4Borderless", 1920, 2498, "00000000", kMerged},
      {"4x6", 1920, 2498, "00000000", kMerged},
      {"w432h576", 1920, 2498, "00000000", ""},
      {"w360h504-div2", 4, 4, "00000120", kDiv2},
      {"div4", 4, 4, "00000120", kDiv2},
      // The rule for this name comes after the rule for div2.
      {"w432h576-div2", 1920, 2498, "00000120", kDiv2},
      {"w432h576-div2", 4, 4, "00000120", kDiv2},
      {"w288h432", 1920, 1240, "00000000", ""},
      {"", 4, 4, "00000000", ""},
  };
  for (const auto& [name, width, height, parameter, expected] : cases) {
    paper(name);
    const Printed printed = print_sheet(width, height);
    EXPECT_EQ(printed.bytes.substr(printed.bytes.rfind("CUTTER") + 24, 8), parameter) << name;
    std::string rule;
    for (const std::string& line : printed.log) {
      if (line.find("cutMode") != std::string::npos) {
        rule += line;
      }
    }
    EXPECT_EQ(rule, expected) << name << " " << width << "x" << height;
  }
}

TEST_F(PrintPage, CutterRuleIsLoggedBeforeTheFirstPlane) {
  paper("div2");
  const Printed printed = print_sheet(2, 1);
  ASSERT_GE(printed.log.size(), 7U);
  EXPECT_EQ(printed.log[4], "K905-1: DEBUG: BMP plane sizes: Y=1090, M=1090, C=1090 bytes");
  EXPECT_EQ(printed.log[5], kDiv2);
  EXPECT_EQ(printed.log[6], "K905-1: DEBUG: Sending Y plane (1090 bytes)");
}

}  // namespace
