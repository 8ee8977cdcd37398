#include "protocol/status_texts.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "tests/support/build_paths.h"
#include "tests/support/captured_log.h"
#include "tests/support/child_process.h"

namespace {

// The list of the printer's codes is in tests/support, each text followed by a colon and advice.
// States that need no advice are not in it.
std::map<int, std::string> texts_of_the_printer() {
  std::map<int, std::string> texts = {
      {0, "Idling"}, {1, "Printing"}, {900, "Standby Mode"}, {1600, "Data error (improper data)"}};
  for (const std::string& line :
       lines_of(read_file(K905_SOURCE_DIR "/tests/support/status_reasons.tsv"))) {
    const std::string sentence = line.substr(line.rfind('\t') + 1);
    if (line[0] != '#' && !sentence.starts_with("Printer status ")) {
      texts[std::stoi(line)] = sentence.substr(0, sentence.find(": "));
    }
  }
  return texts;
}

TEST(StatusTexts, EveryCodeHasItsTextAndEveryOtherNumberHasNone) {
  const std::map<int, std::string> texts = texts_of_the_printer();
  EXPECT_EQ(texts.size(), 40U);
  for (int code = -10; code <= 100000; ++code) {
    const auto known = texts.find(code);
    ASSERT_EQ(status_text(code), known == texts.end() ? "" : known->second) << code;
  }
}

}  // namespace
