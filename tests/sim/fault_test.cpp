#include "devtools/sim/fault.h"

#include <gtest/gtest.h>

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kPause{70};

std::vector<Piece> pieces(FaultKind kind, const std::string& text = "12345", bool first = true) {
  return pieces_of_reply(text, {.kind = kind, .pause = kPause, .question = ""}, "STATUS", first);
}

void expect_pieces(const std::vector<Piece>& got, const std::vector<Piece>& expected) {
  ASSERT_EQ(got.size(), expected.size());
  for (std::size_t at = 0; at < got.size(); ++at) {
    EXPECT_EQ(got[at].bytes, expected[at].bytes) << at;
    EXPECT_EQ(got[at].pause, expected[at].pause) << at;
  }
}

TEST(Faults, HealthyPrinterAnswersInOnePieceAtOnce) {
  expect_pieces(pieces(FaultKind::none), {{"12345\r\n"}});
}

TEST(Faults, SilentPrinterSendsNothing) { expect_pieces(pieces(FaultKind::silent), {}); }

TEST(Faults, SlowPrinterPausesBeforeBothHalves) {
  expect_pieces(pieces(FaultKind::slow), {{"12", kPause}, {"345\r\n", kPause}});
}

TEST(Faults, SplitLineEndHasAPauseBetweenCrAndLf) {
  expect_pieces(pieces(FaultKind::split), {{"12345\r"}, {"\n", kPause}, {"", kPause}});
}

TEST(Faults, TruncatedAnswerHasNoLineEnd) { expect_pieces(pieces(FaultKind::cut), {{"12"}}); }

TEST(Faults, LongAnswerHasThreeHundredCharacters) {
  expect_pieces(pieces(FaultKind::longer), {{"12345" + std::string(295, 'x') + "\r\n"}});
}

TEST(Faults, GarbageContainsANulAndEndsInALineEnd) {
  const std::vector<Piece> got = pieces(FaultKind::garbage);
  ASSERT_EQ(got.size(), 1U);
  EXPECT_NE(got[0].bytes.find('\0'), std::string::npos);
  EXPECT_TRUE(got[0].bytes.ends_with("\r\n"));
  EXPECT_EQ(got[0].bytes.find("12345"), std::string::npos);
}

TEST(Faults, BusyPrinterPausesBeforeItsFirstAnswerOnly) {
  expect_pieces(pieces(FaultKind::busy), {{"12345\r\n", kPause}});
  expect_pieces(pieces(FaultKind::busy, "12345", false), {{"12345\r\n"}});
}

TEST(Faults, FaultOfOneQuestionLeavesTheOthersAlone) {
  const Fault fault{.kind = FaultKind::silent, .pause = kPause, .question = "MQTY"};
  expect_pieces(pieces_of_reply("a", fault, "MQTY", false), {});
  expect_pieces(pieces_of_reply("a", fault, "MQTY_DEFAULT", false), {{"a\r\n"}});
}

TEST(Faults, SevenNamesAreAccepted) {
  for (const char* name : {"silent", "slow", "split", "cut", "long", "garbage", "busy"}) {
    EXPECT_TRUE(fault_named(name).has_value()) << name;
  }
  EXPECT_FALSE(fault_named("longer").has_value());
  EXPECT_FALSE(fault_named("").has_value());
}

}  // namespace
