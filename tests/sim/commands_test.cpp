#include "devtools/sim/commands.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

namespace {

std::optional<Command> parse(const std::string& line) {
  std::string error;
  return parse_command(line, 2, error);
}

TEST(Commands, EveryUsageIsAccepted) {
  for (const CommandUsage& usage : command_usages()) {
    std::string line = usage.text;
    line.erase(std::min(line.find('['), line.size()));
    for (const auto& [word, value] : {std::pair<std::string, std::string>{"STATUS", "1000"},
                                      {"MEDIA", "6x4"},
                                      {"FIELD VALUE", "serial S 1"}}) {
      if (const std::size_t place = line.find(word); place != std::string::npos) {
        line.replace(place, word.size(), value);
      }
    }
    EXPECT_TRUE(parse(line)) << line;
  }
}

TEST(Commands, NumberInFrontSelectsThePrinter) {
  EXPECT_EQ(parse("jam")->printer, 1U);
  EXPECT_EQ(parse("2 jam")->printer, 2U);
  EXPECT_FALSE(parse("3 jam"));
}

TEST(Commands, ConnectionEventHasAByteAndASheet) {
  const auto event = [](const std::string& line) {
    return std::get<LineCommand>(parse(line)->action);
  };
  EXPECT_TRUE(event("unplug").at_once);
  EXPECT_EQ(event("hold at 500 of 7").event.byte, 500U);
  EXPECT_EQ(event("hold at 500 of 7").event.sheet, 7);
  EXPECT_EQ(event("disconnect at 500").event.sheet, std::nullopt);
  EXPECT_EQ(event("disconnect after 7").event.byte, std::nullopt);
  EXPECT_EQ(event("disconnect after 7").event.sheet, 7);
  EXPECT_FALSE(event("disconnect after").at_once);
}

TEST(Commands, TextOfAFieldMayHaveBlanks) {
  const auto command = std::get<SetField>(parse("set serial S 1")->action);
  EXPECT_EQ(command.key, "serial");
  EXPECT_EQ(command.text, "S 1");
}

TEST(Commands, AnythingElseIsAnError) {
  for (const char* line :
       {"", "2", "explode", "cover", "set media", "load", "load 6x4 400 now", "stop", "stop now",
        "hold after", "hold at", "hold at x", "hold at 5 of", "hold at 5 sheet 7",
        "hold at 5 of 7 8", "unplug at 0", "disconnect after 7 8", "power", "jam now"}) {
    EXPECT_FALSE(parse(line)) << line;
  }
}

}  // namespace
