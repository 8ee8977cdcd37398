#include "protocol/command_block.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string text_of(const CommandBlock& block) { return {block.data(), block.size()}; }

TEST(CommandBlocks, GroupAndNameArePaddedOrTruncatedToTheirFields) {
  const struct {
    const char* group;
    const char* name;
    const char* block;  // after escape and P
  } cases[] = {{"INFO", "FVER", "INFO  FVER                    "},
               {"STATUS", nullptr, "STATUS                        "},
               {nullptr, "FVER", "      FVER                    "},
               {"", "", "                              "},
               {"STATUSES", nullptr, "STATUS                        "},
               {"INFO", "ABCDEFGHIJKLMNOPQRS", "INFO  ABCDEFGHIJKLMNOP        "}};
  for (const auto& [group, name, block] : cases) {
    EXPECT_EQ(text_of(make_command_block(group, name)), std::string("\x1bP") + block);
  }
}

TEST(CommandBlocks, LengthOfThePayloadIsEightDigitsAtTheEnd) {
  EXPECT_EQ(text_of(make_command_block("IMAGE", "YPLANE", 4797248)),
            "\x1b"
            "PIMAGE YPLANE          04797248");
  EXPECT_EQ(text_of(make_command_block("IMAGE", "YPLANE", 0)).substr(24), "00000000");
  EXPECT_EQ(text_of(make_command_block("INFO", "ABCDEFGHIJKLMNOP", 7)),
            "\x1b"
            "PINFO  ABCDEFGHIJKLMNOP00000007");
}

}  // namespace
