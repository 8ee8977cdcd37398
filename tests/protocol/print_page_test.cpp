#include "protocol/print_page.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"
#include "tests/support/system_hooks.h"

namespace {

struct Printed {
  std::string bytes;
  std::vector<std::string> log;

  // The number in the first line: how many calls there have been.
  [[nodiscard]] int call() const {
    const std::string front = "K905-1: ===== PRINT CALL #";
    return log.at(0).starts_with(front) ? std::stoi(log.at(0).substr(front.size())) : -1;
  }
  [[nodiscard]] bool says(const std::string& line) const {
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

// The 1088 bytes in front of the pixels of a small image, put together by hand.
std::string bmp_header(unsigned char width, unsigned char height) {
  const unsigned total = 1088U + width * height;
  std::string header(1088, '\0');
  header[0] = 'B';
  header[1] = 'M';
  header[2] = static_cast<char>(total & 0xff);
  header[3] = static_cast<char>(total >> 8);
  header[10] = 0x40;
  header[11] = 0x04;
  header[14] = 40;
  header[18] = static_cast<char>(width);
  header[22] = static_cast<char>(height);
  header[26] = 1;
  header[28] = 8;
  for (std::size_t gray = 0; gray < 256; ++gray) {
    for (std::size_t channel = 0; channel < 3; ++channel) {
      header[54 + 4 * gray + channel] = static_cast<char>(gray);
    }
  }
  return header;
}

std::string block(const std::string& rest) {
  return "\x1b"
         "P" +
         rest;
}

const std::string kStart = block("CNTRL START                   ");

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

TEST_F(PrintPage, GlossySheetByteForByte) {
  const std::uint8_t first[] = {1, 2};
  const std::uint8_t second[] = {3, 4};
  const std::uint8_t third[] = {5, 255};
  const Printed printed = print_planes(first, second, third, 2, 1);
  // 1090 bytes an image: 1088 and two pixels.
  EXPECT_EQ(printed.bytes, block("IMAGE YPLANE          00001090") + bmp_header(2, 1) + "\x05\xff" +
                               block("IMAGE MPLANE          00001090") + bmp_header(2, 1) +
                               "\x03\x04" + block("IMAGE CPLANE          00001090") +
                               bmp_header(2, 1) + "\x01\x02" +
                               block("CNTRL CUTTER          0000000800000000") + kStart);
}

std::string contents_of(FILE* file) {
  std::string bytes(static_cast<std::size_t>(std::ftell(file)), '\0');
  std::rewind(file);
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
  return bytes;
}

TEST_F(PrintPage, SheetGoesToTheGivenDescriptorWithItsOwnSettings) {
  const std::uint8_t pixels[] = {1, 2};
  const SheetToPrint sheet{.planes = {pixels, pixels, pixels},
                           .width = 2,
                           .height = 1,
                           .paper_name = "w288h432-div2",
                           .matte = true};
  // The settings of a job are not read.
  paper("w288h432");
  overcoat("Glossy");
  const std::unique_ptr<FILE, int (*)(FILE*)> file(std::tmpfile(), std::fclose);
  SheetResult result = SheetResult::kRefused;
  std::string output;
  const std::string log = captured_log(
      [&] { output = captured_output([&] { result = send_sheet(fileno(file.get()), sheet); }); });
  EXPECT_EQ(result, SheetResult::kSent);
  EXPECT_EQ(output, "");
  std::fseek(file.get(), 0, SEEK_END);
  const std::string image = bmp_header(2, 1) + "\x01\x02";
  EXPECT_EQ(contents_of(file.get()), block("IMAGE YPLANE          00001090") + image +
                                         block("IMAGE MPLANE          00001090") + image +
                                         block("IMAGE CPLANE          00001090") + image +
                                         block("CNTRL OVERCOAT        0000000800000001") +
                                         block("CNTRL CUTTER          0000000800000120") + kStart);
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

TEST_F(PrintPage, MatteSheetHasOneMoreCommandInFrontOfTheCutter) {
  const Printed glossy = print_sheet(2, 1);
  overcoat("Matte");
  const Printed matte = print_sheet(2, 1);
  const std::string command = block("CNTRL OVERCOAT        0000000800000001");
  const std::size_t place = glossy.bytes.size() - 40 - 32;
  EXPECT_EQ(matte.bytes, glossy.bytes.substr(0, place) + command + glossy.bytes.substr(place));
}

TEST_F(PrintPage, OnlyTheExactWordMatteIsMatte) {
  for (const char* name : {"matte", "MATTE", "Matte ", "Glossy", ""}) {
    overcoat(name);
    EXPECT_EQ(print_sheet(2, 1).bytes.find("OVERCOAT"), std::string::npos) << name;
  }
}

TEST_F(PrintPage, LogOfASheetLineByLine) {
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

TEST_F(PrintPage, HundredPixelsPrintNoPixelLines) {
  const Printed printed = print_sheet(10, 10);
  EXPECT_TRUE(printed.says("K905-1: DEBUG: Image size: 100 pixels"));
  for (const std::string& line : printed.log) {
    EXPECT_EQ(line.find("pixel:"), std::string::npos) << line;
  }
}

TEST_F(PrintPage, FirstCallHasTheNumberOneMoreThanTheCallBefore) {
  const int before = print_sheet(1, 1).call();
  EXPECT_GE(before, 1);
  EXPECT_EQ(print_sheet(1, 1).call(), before + 1);
}

TEST_F(PrintPage, RefusedCallsCountToo) {
  const int before = print_sheet(1, 1).call();
  print_planes(nullptr, nullptr, nullptr, 1, 1);
  EXPECT_EQ(print_sheet(1, 1).call(), before + 2);
}

TEST_F(PrintPage, AnyMissingPlaneSendsNothing) {
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

TEST_F(PrintPage, SidesOfZeroAboveFiveThousandAndNegativeSendNothing) {
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

TEST_F(PrintPage, FiveThousandByFiveThousandIsPrinted) {
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

// Which call of the sheet meets the trouble: 0 is Y's block, 1 its header, 2 its pixels, 3 M's
// block...
void trouble_at(std::size_t call, hooks::Step step) {
  hooks::write_script = {.descriptor = 1, .steps = {}};
  for (std::size_t before = 0; before < call; ++before) {
    hooks::write_script.steps.push_back({.at_most = 1000000});
  }
  hooks::write_script.steps.push_back(step);
}

TEST_F(PrintPage, FailedPlaneIsLoggedAndTheSheetGoesOn) {
  const char letters[] = {'Y', 'M', 'C'};
  const Printed whole = print_sheet(2, 1);
  for (std::size_t plane = 0; plane < 3; ++plane) {
    for (std::size_t part = 0; part < 3; ++part) {
      const std::size_t sizes[] = {32, 1088, 2};
      trouble_at(3 * plane + part, {.error = EIO});
      const Printed printed = print_sheet(2, 1);
      // What follows the failed write in the same image is not sent.
      std::size_t kept = 0;
      for (std::size_t before = 0; before < part; ++before) {
        kept += sizes[before];
      }
      EXPECT_EQ(printed.bytes, whole.bytes.substr(0, plane * 1122 + kept) +
                                   whole.bytes.substr((plane + 1) * 1122));
      EXPECT_TRUE(printed.says("K905-1: write error: Input/output error"));
      EXPECT_TRUE(printed.says(std::string("K905-1: send ") + letters[plane] + " plane failed"));
      EXPECT_EQ(printed.log.size(), whole.log.size() + 2);
      EXPECT_EQ(printed.log.back(), "K905-1: Single page printed successfully (print call #" +
                                        std::to_string(printed.call()) + ")");
    }
  }
}

TEST_F(PrintPage, HeaderCutShortByAWriteOfZeroEndsThatImageWithoutAFailure) {
  const Printed whole = print_sheet(2, 1);
  trouble_at(1, {.at_most = 0});
  const Printed printed = print_sheet(2, 1);
  EXPECT_EQ(printed.bytes, whole.bytes.substr(0, 32) + whole.bytes.substr(1122));
  EXPECT_TRUE(printed.says("K905-1: write returned 0"));
  EXPECT_FALSE(printed.says("K905-1: send Y plane failed"));
}

TEST_F(PrintPage, PixelsCutShortByAWriteOfZeroAreNoFailure) {
  const Printed whole = print_sheet(2, 1);
  trouble_at(2, {.at_most = 0});
  const Printed printed = print_sheet(2, 1);
  EXPECT_EQ(printed.bytes, whole.bytes.substr(0, 1120) + whole.bytes.substr(1122));
  EXPECT_TRUE(printed.says("K905-1: write returned 0"));
  EXPECT_FALSE(printed.says("K905-1: send Y plane failed"));
}

TEST_F(PrintPage, BlockCutShortByAWriteOfZeroIsNoFailure) {
  const Printed whole = print_sheet(2, 1);
  trouble_at(0, {.at_most = 0});
  const Printed printed = print_sheet(2, 1);
  EXPECT_EQ(printed.bytes, whole.bytes.substr(32));
  EXPECT_FALSE(printed.says("K905-1: send Y plane failed"));
}

TEST_F(PrintPage, FailedStartIsOnlyAWriteError) {
  trouble_at(10, {.error = EIO});
  const Printed whole = print_sheet(2, 1);
  EXPECT_EQ(whole.bytes.find("START"), std::string::npos);
  ASSERT_GE(whole.log.size(), 2U);
  EXPECT_EQ(whole.log[whole.log.size() - 2], "K905-1: write error: Input/output error");
}

constexpr char kMerged[] =
    "K905-1: 6x4 merged to 6x8 (w432h576-div2) detected, setting cutMode = 1 (middle cut)";
constexpr char kDiv2[] = "K905-1: div2 paper detected, setting cutMode = 2";
constexpr char kDiv4[] = "K905-1: div4 paper detected, setting cutMode = 4";

class CutterRules : public PrintPage {
 protected:
  // Parameter of the CUTTER command and the rule's line, "" when no rule spoke.
  struct Cut {
    std::string parameter;
    std::string line;
    bool operator==(const Cut&) const = default;
  };
  Cut cut(const char* name, int width, int height) {
    paper(name);
    const Printed printed = print_sheet(width, height);
    Cut result;
    const std::size_t place = printed.bytes.rfind("CUTTER");
    result.parameter = printed.bytes.substr(place + 24, 8);
    for (const std::string& line : printed.log) {
      if (line.find("cutMode") != std::string::npos) {
        result.line += line;
      }
    }
    return result;
  }
};

TEST_F(CutterRules, MergedSheetWinsOverDiv2) {
  EXPECT_EQ(cut("w288h432-div2", 1920, 2498), (Cut{"00000000", kMerged}));
}

TEST_F(CutterRules, SameNameOnAnotherSizeIsCutAsDiv2) {
  EXPECT_EQ(cut("w288h432-div2", 1920, 1240), (Cut{"00000120", kDiv2}));
  EXPECT_EQ(cut("w288h432-div2", 1919, 2498), (Cut{"00000120", kDiv2}));
  EXPECT_EQ(cut("w288h432-div2", 1920, 2497), (Cut{"00000120", kDiv2}));
}

TEST_F(CutterRules, MergedSheetIsKnownByAnyOfThreeNamesAnywhere) {
  EXPECT_EQ(cut("w288h432", 1920, 2498), (Cut{"00000000", kMerged}));
  EXPECT_EQ(cut("Photo6x4Borderless", 1920, 2498), (Cut{"00000000", kMerged}));
  EXPECT_EQ(cut("4x6", 1920, 2498), (Cut{"00000000", kMerged}));
}

TEST_F(CutterRules, SheetOfMergedSizeWithAnotherNameIsNotMerged) {
  EXPECT_EQ(cut("w432h576", 1920, 2498), (Cut{"00000000", ""}));
}

TEST_F(CutterRules, Div2AndDiv4AreSentAs120) {
  EXPECT_EQ(cut("w360h504-div2", 4, 4), (Cut{"00000120", kDiv2}));
  EXPECT_EQ(cut("div4", 4, 4), (Cut{"00000120", kDiv2}));
}

TEST_F(CutterRules, W432h576Div2IsCutAsDiv2AndNeverReachesItsOwnRule) {
  EXPECT_EQ(cut("w432h576-div2", 1920, 2498), (Cut{"00000120", kDiv2}));
  EXPECT_NE(cut("w432h576-div2", 4, 4).line, kDiv4);
}

TEST_F(CutterRules, OtherPaperIsNotCutAndNothingIsSaid) {
  EXPECT_EQ(cut("w288h432", 1920, 1240), (Cut{"00000000", ""}));
  EXPECT_EQ(cut("", 4, 4), (Cut{"00000000", ""}));
}

TEST_F(PrintPage, RuleSpeaksBetweenTheSizesAndTheFirstPlane) {
  paper("div2");
  const Printed printed = print_sheet(2, 1);
  ASSERT_GE(printed.log.size(), 7U);
  EXPECT_EQ(printed.log[4], "K905-1: DEBUG: BMP plane sizes: Y=1090, M=1090, C=1090 bytes");
  EXPECT_EQ(printed.log[5], kDiv2);
  EXPECT_EQ(printed.log[6], "K905-1: DEBUG: Sending Y plane (1090 bytes)");
}

TEST_F(PrintPage, GlossySixByFourHoldsThreeImagesOneCutterAndOneStart) {
  paper("w288h432");
  const Printed printed = print_sheet(1920, 1240);
  const auto occurrences = [&](const std::string& what) {
    int found = 0;
    for (std::size_t at = printed.bytes.find(what); at != std::string::npos;
         at = printed.bytes.find(what, at + 1)) {
      ++found;
    }
    return found;
  };
  EXPECT_EQ(occurrences(block("IMAGE ")), 3);
  EXPECT_EQ(occurrences(block("CNTRL CUTTER          0000000800000000")), 1);
  EXPECT_EQ(occurrences(kStart), 1);
  EXPECT_EQ(occurrences(block("")), 5);
}

}  // namespace
