#include "device/status_reasons.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <string>

#include "protocol/status_texts.h"

namespace k905 {
namespace {

TEST(StatusReasons, EveryStatusCodeThatHasATextHasARow) {
  int known = 0;
  for (int code = 0; code <= 99999; ++code) {
    if (*status_text(code) != '\0') {
      ++known;
      EXPECT_EQ(status_reason(code).code, code);
    }
  }
  EXPECT_EQ(static_cast<std::size_t>(known), status_reasons().size());
}

TEST(StatusReasons, OnlyIdlePrintingStandbyAndDataErrorAcceptASheet) {
  for (const StatusReason& row : status_reasons()) {
    const bool expected = row.code == 0 || row.code == 1 || row.code == 900 || row.code == 1600;
    EXPECT_EQ(row.ready, expected) << row.code;
  }
}

TEST(StatusReasons, WaitingCodesHaveAKeywordAndAdvice) {
  const std::regex keyword("[a-z]+(-[a-z]+)*-(error|warning|report)");
  for (const StatusReason& row : status_reasons()) {
    EXPECT_EQ(row.ready, *row.keyword == '\0') << row.code;
    EXPECT_EQ(row.ready, *row.advice == '\0') << row.code;
    EXPECT_TRUE(row.ready || std::regex_match(row.keyword, keyword)) << row.keyword;
  }
}

TEST(StatusReasons, SentenceIsThePrintersTextAndTheAdvice) {
  EXPECT_EQ(status_sentence(1000), "Cover is open: close the cover");
  EXPECT_EQ(status_sentence(1100), "Paper End: load new paper and a new ribbon");
  EXPECT_EQ(status_sentence(0), "Idling");
}

TEST(StatusReasons, UnknownCodeNeedsOperatorAttention) {
  EXPECT_FALSE(status_reason(4711).ready);
  EXPECT_STREQ(status_reason(4711).keyword, "other-error");
  EXPECT_EQ(status_sentence(4711), "Printer status 4711: look at the printer's display");
}

TEST(StatusReasons, KeywordsOfTheMostFrequentConditions) {
  EXPECT_STREQ(status_reason(1000).keyword, "cover-open-error");
  EXPECT_STREQ(status_reason(1100).keyword, "media-empty-error");
  EXPECT_STREQ(status_reason(1200).keyword, "marker-supply-empty-error");
  EXPECT_STREQ(status_reason(1300).keyword, "media-jam-error");
  EXPECT_STREQ(status_reason(1500).keyword, "media-needed-error");
  EXPECT_STREQ(status_reason(5017).keyword, "media-jam-error");
  EXPECT_STREQ(status_reason(5209).keyword, "cover-open-error");
}

TEST(StatusReasons, EveryKeywordCanBeRemoved) {
  const std::vector<std::string_view> all = all_reason_keywords();
  for (const StatusReason& row : status_reasons()) {
    EXPECT_TRUE(row.ready || std::count(all.begin(), all.end(), row.keyword) == 1) << row.keyword;
  }
  EXPECT_EQ(std::count(all.begin(), all.end(), kOffline), 1);
  EXPECT_EQ(std::count(all.begin(), all.end(), kMediaLow), 1);
}

}  // namespace
}  // namespace k905
