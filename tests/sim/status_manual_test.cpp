// Checks the statements of docs/status.md.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "devtools/sim/fault.h"
#include "devtools/sim/printer_state.h"
#include "protocol/status_texts.h"
#include "tests/support/build_paths.h"

namespace {

std::string manual() {
  std::ifstream file(K905_SOURCE_DIR "/docs/status.md");
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

TEST(StatusManual, EveryStatusCodeHasItsRowAndEveryRowItsCode) {
  const std::string text = manual();
  int codes = 0;
  for (int code = 0; code <= 99999; ++code) {
    const std::string meaning = status_text(code);
    const std::string row = "\n| " + std::to_string(code) + " | ";
    if (meaning.empty()) {
      continue;
    }
    ++codes;
    EXPECT_NE(text.find(row + meaning + " |\n"), std::string::npos) << code;
  }
  EXPECT_EQ(codes, 40);
}

TEST(StatusManual, ListsEveryFieldOfTheSimulatorWithItsDefault) {
  const std::string text = manual();
  const PrinterState fresh;
  for (const StateField& field : state_fields()) {
    const std::string row = std::string("\n| `") + field.key + "` | " + field_text(fresh, field);
    EXPECT_NE(text.find(row + " |"), std::string::npos) << row;
  }
}

TEST(StatusManual, ListsEveryFault) {
  const std::string text = manual();
  for (const char* name : {"silent", "slow", "split", "cut", "long", "garbage", "busy"}) {
    ASSERT_TRUE(fault_named(name));
    EXPECT_NE(text.find(std::string("\n| `") + name + "` | "), std::string::npos) << name;
  }
}

}  // namespace
