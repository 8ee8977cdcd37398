#include "protocol/status_query.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "tests/protocol/fake_printer.h"
#include "tests/support/captured_log.h"
#include "tests/support/report_builder.h"
#include "tests/support/system_hooks.h"

namespace {

using Answers = std::map<std::string, std::string>;

struct Query {
  int status = -1;
  std::string report;
  std::string log;
  std::vector<std::string> questions;

  // The value of one line of the report.
  [[nodiscard]] std::string value(const std::string& key) const {
    const std::string begin = "\r\n" + key + " = ";
    const std::string text = "\r\n" + report;
    const std::size_t place = text.find(begin);
    if (place == std::string::npos) {
      return "(no such line)";
    }
    const std::size_t from = place + begin.size();
    return text.substr(from, text.find("\r\n", from) - from);
  }
};

Query query(const Answers& answers) {
  const FakePrinter printer(answers);
  Query result;
  result.log = captured_log([&] {
    result.report =
        captured_output([&] { result.status = query_printer_info(printer.path().c_str()); });
  });
  EXPECT_EQ(result.log, "K905-1: query printer info from " + printer.path() + "\n");
  result.questions = printer.questions();
  return result;
}

// A K905 with one changed reply.
Query query_with(const std::string& question, const std::string& answer) {
  Answers answers = answers_of_a_k905();
  answers[question] = answer;
  return query(answers);
}

Answers answers_of_an_rv40() {
  Answers answers = answers_of_a_k905();
  answers["INFO FVER"] = "RV-40 02.00\r\n";
  return answers;
}

TEST(StatusQuery, ReportOfAK905HasAllItsLines) {
  const Query result = query(answers_of_a_k905());
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.report,
            "Version = v1.0\r\n"
            "PrintStatus = Idling (0)\r\n"
            "PrintVersion = K905 01.02\r\n"
            "PrintMediaInfo = MEDIA 6x8\r\n"
            "PrintHorResolution = RH0300\r\n"
            "PrintVerResolution = RV0600\r\n"
            "PrintFreeBuff = FB002 (2)\r\n"
            "PrintInitMediaCount = MQD 0400 (400)\r\n"
            "PrintRemainQuantity = MQT 0350 (300)\r\n"
            "PrintSerialNO = K9A000123\r\n"
            "PrintVolumeLifeCounter = CL0012345 (12345)\r\n"
            "PrintHalfSizeMediaCounter =  (-1)\r\n"
            "PrintVolumeMatteCounter = CM  0000678 (678)\r\n"
            "PrintColorControlDataVersion = T 01.10\r\n"
            "PrintColorControlDataChecksum = A1B2\r\n"
            "ActPrintVersion = K905\r\n"
            "ActPrintMediaInfo = 6x8\r\n"
            "ActPrintResolution = 300x300\r\n");
}

TEST(StatusQuery, QuestionsAreAskedInOrderAndHalfSizeMediaOfAnRv40Only) {
  std::vector<std::string> expected = {"STATUS",
                                       "INFO FVER",
                                       "INFO MEDIA",
                                       "INFO RESOLUTION_H",
                                       "INFO RESOLUTION_V",
                                       "INFO FREE_PBUFFER",
                                       "INFO MQTY_DEFAULT",
                                       "INFO MQTY",
                                       "INFO SERIAL_NUMBER",
                                       "MNT_RD COUNTER_LIFE",
                                       "MNT_RD COUNTER_MATTE",
                                       "TBL_RD Version",
                                       "MNT_RD CTRLD_CHKSUM"};
  EXPECT_EQ(query(answers_of_a_k905()).questions, expected);
  EXPECT_EQ(query_with("INFO FVER", "RV-30 01\r\n").questions, expected);
  expected.insert(expected.begin() + 11, "INFO RQTY");
  const Query result = query(answers_of_an_rv40());
  EXPECT_EQ(result.questions, expected);
  EXPECT_EQ(result.value("PrintHalfSizeMediaCounter"), "RQT 0700 (700)");
}

TEST(StatusQuery, MissingDeviceEndsWithStatusOneAndNoReport) {
  int status = -1;
  std::string report;
  const std::string log = captured_log(
      [&] { report = captured_output([&] { status = query_printer_info("/nonexistent/lp0"); }); });
  EXPECT_EQ(status, 1);
  EXPECT_EQ(report, "");
  EXPECT_EQ(log,
            "K905-1: query printer info from /nonexistent/lp0\n"
            "K905-1: open('/nonexistent/lp0') failed: No such file or directory\n");
}

TEST(StatusQuery, ReportIsOneWrite) {
  const hooks::Guard guard;
  const Query result = query(answers_of_a_k905());
  EXPECT_EQ(hooks::writes_to_output, std::vector<std::size_t>{result.report.size()});
}

// /dev/null accepts every question and returns end of file.
TEST(StatusQuery, DeviceWithoutAnswersGivesAReportWithoutValues) {
  int status = -1;
  std::string report;
  captured_log(
      [&] { report = captured_output([&] { status = query_printer_info("/dev/null"); }); });
  EXPECT_EQ(status, 0);
  EXPECT_EQ(report, report_of({}));
}

TEST(StatusQuery, QuestionThatCannotBeWrittenIsLoggedAndTheNextAsked) {
  std::string report;
  const std::string log = captured_log(
      [&] { report = captured_output([&] { EXPECT_EQ(query_printer_info("/dev/full"), 0); }); });
  const std::vector<std::string> lines = lines_of(log);
  ASSERT_EQ(lines.size(), 14U);  // the opening line and thirteen questions
  for (std::size_t line = 1; line < lines.size(); ++line) {
    EXPECT_EQ(lines[line], "K905-1: write error: No space left on device");
  }
  EXPECT_NE(report.find("PrintStatus =  (-1)\r\n"), std::string::npos);
  EXPECT_NE(report.find("PrintRemainQuantity =  (-1)\r\n"), std::string::npos);
}

TEST(StatusQuery, EachReplyIsInterpretedInItsLineOfTheReport) {
  const struct {
    const char* question;
    std::string answer;
    const char* line;
    const char* value;
  } cases[] = {
      {"STATUS", "01000", "PrintStatus", "Cover is open (1000)"},
      {"STATUS", "010009 and more", "PrintStatus", "Cover is open (1000)"},
      {"STATUS", "1000", "PrintStatus", " (-1)"},
      {"STATUS", " 100 ", "PrintStatus", " (-1)"},  // long enough before the trimming only
      {"STATUS", "00002", "PrintStatus", " (2)"},
      {"STATUS", "READY", "PrintStatus", "Idling (0)"},
      // If the reply contains several names, the first one in the list is used.
      {"INFO FVER", "K905 RV-40W", "ActPrintVersion", "RV-40W"},
      {"INFO FVER", "RS-30 RV-40", "ActPrintVersion", "RV-40"},
      {"INFO FVER", "RV-30 01", "ActPrintVersion", "RV"},
      {"INFO FVER", "K905 RS-30", "ActPrintVersion", "RS-30"},
      {"INFO FVER", "RT K905", "ActPrintVersion", "RT"},
      {"INFO FVER", "ABCDE", "ActPrintVersion", ""},
      // Five bytes with the line end are enough, four are not.
      {"INFO FVER", "RT1", "ActPrintVersion", "RT"},
      {"INFO FVER", "RT", "ActPrintVersion", ""},
      {"INFO FVER", "RV-30 01", "PrintRemainQuantity", "MQT 0350 (300)"},
      {"INFO FVER", "RV-40W 02", "PrintRemainQuantity", "MQT 0350 (350)"},
      {"INFO MQTY_DEFAULT", "MQD 0010", "PrintInitMediaCount", "MQD 0010 (10)"},
      {"INFO MQTY", "MQT 0020", "PrintRemainQuantity", "MQT 0020 (-30)"},
      {"INFO MQTY", "MQT 0", "PrintRemainQuantity", "MQT 0 (-1)"},
      // Nine bytes are received, seven characters remain.
      {"INFO MQTY", "MQT 035", "PrintRemainQuantity", "MQT 035 (-51)"},
      {"INFO MQTY", std::string("MQT\0 0350", 9), "PrintRemainQuantity", "MQT (-51)"},
      {"INFO MEDIA", "PC4x6R", "ActPrintMediaInfo", "4x6"},
      {"INFO MEDIA", "6x4 4.5x6", "ActPrintMediaInfo", "4.5x6"},
      {"INFO MEDIA", "6x9 6x8", "ActPrintMediaInfo", "6x8"},
      {"INFO MEDIA", "8x10", "ActPrintMediaInfo", ""},
      {"INFO SERIAL_NUMBER", "%s%n%d", "PrintSerialNO", "%s%n%d"},
  };
  for (const auto& [question, answer, line, value] : cases) {
    EXPECT_EQ(query_with(question, answer + "\r\n").value(line), value) << question << answer;
  }
  EXPECT_EQ(query_with("INFO MEDIA", "6\r").value("ActPrintMediaInfo"), "");  // two bytes
}

TEST(StatusQuery, CounterNeedsItsLastDigitAndEndsThere) {
  const struct {
    const char* question;
    const char* line;
    std::string too_short;
    std::string too_long;
    std::string number;
  } cases[] = {
      {"INFO FREE_PBUFFER", "PrintFreeBuff", "FB02", "FB0129", "12"},
      {"INFO MQTY_DEFAULT", "PrintInitMediaCount", "MQD 040", "MQD 04009", "400"},
      {"INFO MQTY", "PrintRemainQuantity", "MQT 035", "MQT 03509", "350"},
      {"MNT_RD COUNTER_LIFE", "PrintVolumeLifeCounter", "CL001234", "CL98765432", "9876543"},
      {"MNT_RD COUNTER_MATTE", "PrintVolumeMatteCounter", "CM  000067", "CM  12345678", "1234567"},
      {"INFO RQTY", "PrintHalfSizeMediaCounter", "RQT 070", "RQT 07009", "700"},
  };
  Answers too_short = answers_of_an_rv40();
  Answers too_long = answers_of_an_rv40();
  for (const auto& c : cases) {
    too_short[c.question] = c.too_short + "\r\n";
    too_long[c.question] = c.too_long + "\r\n";
  }
  const Query short_replies = query(too_short);
  const Query long_replies = query(too_long);
  for (const auto& c : cases) {
    EXPECT_EQ(short_replies.value(c.line), c.too_short + " (-1)");
    EXPECT_EQ(long_replies.value(c.line), c.too_long + " (" + c.number + ")");
  }
}

TEST(StatusQuery, EveryMediaNameIsRecognized) {
  for (const char* name : {"4x4", "4x3", "4x6", "4x8", "4.5x4.5", "4.5x6", "4.5x8", "5x3.5", "5x7",
                           "5x5", "6x4", "6x6", "6x8", "6x9"}) {
    EXPECT_EQ(query_with("INFO MEDIA", std::string(name) + "\r\n").value("ActPrintMediaInfo"),
              name);
  }
}

TEST(StatusQuery, HorizontalReplyAloneDecidesTheResolution) {
  Answers answers = answers_of_a_k905();
  answers["INFO RESOLUTION_H"] = "RH0600\r\n";
  answers["INFO RESOLUTION_V"] = "RV0300\r\n";
  EXPECT_EQ(query(answers).value("ActPrintResolution"), "300x600");
  answers["INFO RESOLUTION_H"] = "600 300\r\n";
  EXPECT_EQ(query(answers).value("ActPrintResolution"), "300x300");
  answers["INFO RESOLUTION_H"] = "1200\r\n";
  EXPECT_EQ(query(answers).value("ActPrintResolution"), "");
}

TEST(StatusQuery, LongReplyIsTruncatedAndItsRestIsTheNextReply) {
  Answers answers = answers_of_a_k905();
  answers["INFO FVER"] = "K905 " + std::string(122, 'x') + "rest\r\n";
  const Query result = query(answers);
  EXPECT_EQ(result.value("PrintVersion"), "K905 " + std::string(122, 'x'));
  EXPECT_EQ(result.value("PrintMediaInfo"), "rest");
}

TEST(StatusQuery, LongestRepliesFitTheReport) {
  Answers answers = answers_of_an_rv40();
  for (auto& [question, answer] : answers) {
    const bool wide = question == "STATUS" || question == "INFO FVER" || question == "INFO MEDIA" ||
                      question == "INFO SERIAL_NUMBER";
    answer.resize(answer.size() - 2);
    answer.resize(wide ? 127 : 63, '9');
  }
  const Query result = query(answers);
  EXPECT_EQ(result.value("PrintSerialNO").size(), 127U);
  EXPECT_EQ(result.value("PrintColorControlDataChecksum").size(), 63U);
  EXPECT_EQ(result.value("ActPrintResolution"), "300x300");
  EXPECT_EQ(lines_of(result.report).size(), 18U);
}

// The requested timeouts; equal neighbors count once.
std::vector<int> waits() {
  std::vector<int> waits = hooks::poll_timeouts;
  waits.erase(std::unique(waits.begin(), waits.end()), waits.end());
  return waits;
}

TEST(StatusQuery, Rv40HasTwelveSecondsToReportItsFreeBuffers) {
  const hooks::Guard guard;
  query(answers_of_an_rv40());
  EXPECT_EQ(waits(), (std::vector<int>{3000, 12000, 3000}));
}

TEST(StatusQuery, OtherModelsWaitOneAndAHalfSecondsForFreeBuffers) {
  const hooks::Guard guard;
  query_with("INFO FVER", "RV-30 01\r\n");
  EXPECT_EQ(waits(), (std::vector<int>{3000, 1500, 3000}));
}

}  // namespace
