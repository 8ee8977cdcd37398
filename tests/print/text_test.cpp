// Bytes of any kind become text that can be shown and sent on.
#include "apps/base/text.h"

#include <gtest/gtest.h>

namespace {

const std::string kReplacement = "\xEF\xBF\xBD";

TEST(ValidUtf8, WellFormedTextStays) {
  const std::string text = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x93\xB7\xF4\x8F\xBF\xBF";
  EXPECT_EQ(valid_utf8(text), text);
}

TEST(ValidUtf8, InvalidBytesAreReplacedOneByOne) {
  EXPECT_EQ(valid_utf8("a\xFFz"), "a" + kReplacement + "z");
  EXPECT_EQ(valid_utf8("\xE2\x82"), kReplacement + kReplacement);  // cut short
  EXPECT_EQ(valid_utf8("\xC3("), kReplacement + "(");
}

TEST(ValidUtf8, OverlongFormsSurrogatesAndLargeCodePointsAreInvalid) {
  EXPECT_EQ(valid_utf8("\xC0\xAF"), kReplacement + kReplacement);
  EXPECT_EQ(valid_utf8("\xE0\x9F\xBF"), kReplacement + kReplacement + kReplacement);
  EXPECT_EQ(valid_utf8("\xED\xA0\x80"), kReplacement + kReplacement + kReplacement);
  EXPECT_EQ(valid_utf8("\xF4\x90\x80\x80"),
            kReplacement + kReplacement + kReplacement + kReplacement);
}

TEST(OneLineOfText, ControlCharactersBecomeBlanks) {
  EXPECT_EQ(one_line_of_text("a\nb\tc\x7F"
                             "d",
                             100),
            "a b c d");
}

TEST(OneLineOfText, IsCutBetweenCharacters) {
  EXPECT_EQ(one_line_of_text("ab\xC3\xA4", 3), "ab");
  EXPECT_EQ(one_line_of_text("ab\xC3\xA4", 4), "ab\xC3\xA4");
}

}  // namespace
