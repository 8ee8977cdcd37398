#include "protocol/command_block.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string text_of(const CommandBlock& block) { return {block.data(), block.size()}; }

TEST(CommandBlocks, GroupAndNameStandInTheirFieldsWithBlanksAround) {
  EXPECT_EQ(text_of(make_command_block("INFO", "FVER")),
            "\x1b"
            "PINFO  FVER                    ");
}

TEST(CommandBlocks, BlockWithPayloadEndsInItsLengthWithZerosInFront) {
  EXPECT_EQ(text_of(make_command_block("IMAGE", "YPLANE", 4797248)),
            "\x1b"
            "PIMAGE YPLANE          04797248");
}

TEST(CommandBlocks, EmptyPayloadStillHasItsEightDigits) {
  EXPECT_EQ(text_of(make_command_block("IMAGE", "YPLANE", 0)).substr(24), "00000000");
}

TEST(CommandBlocks, MissingNameLeavesItsFieldBlank) {
  EXPECT_EQ(text_of(make_command_block("STATUS", nullptr)),
            "\x1b"
            "PSTATUS                        ");
}

TEST(CommandBlocks, MissingGroupLeavesItsFieldBlank) {
  EXPECT_EQ(text_of(make_command_block(nullptr, "FVER")),
            "\x1b"
            "P      FVER                    ");
}

TEST(CommandBlocks, GroupLongerThanSixCharactersIsCut) {
  EXPECT_EQ(text_of(make_command_block("STATUSES", nullptr)),
            "\x1b"
            "PSTATUS                        ");
}

TEST(CommandBlocks, NameLongerThanSixteenCharactersIsCut) {
  EXPECT_EQ(text_of(make_command_block("INFO", "ABCDEFGHIJKLMNOPQRS")),
            "\x1b"
            "PINFO  ABCDEFGHIJKLMNOP        ");
}

TEST(CommandBlocks, NameOfSixteenCharactersTouchesTheLengthField) {
  EXPECT_EQ(text_of(make_command_block("INFO", "ABCDEFGHIJKLMNOP", 7)),
            "\x1b"
            "PINFO  ABCDEFGHIJKLMNOP00000007");
}

TEST(CommandBlocks, NoBlockHoldsANul) {
  EXPECT_EQ(text_of(make_command_block(nullptr, nullptr)).find('\0'), std::string::npos);
  EXPECT_EQ(text_of(make_command_block("", "", 1)).find('\0'), std::string::npos);
}

}  // namespace
