#include "devtools/sim/printer_state.h"

#include <gtest/gtest.h>

#include "devtools/sim/state_file.h"
#include "tests/support/child_process.h"

namespace {

TEST(PrinterState, EveryFieldCanBeSetAndReadBack) {
  PrinterState state;
  for (const StateField& field : state_fields()) {
    std::string text = field.max > 0 ? std::to_string(field.max) : "abc";
    if (!field.choices.empty()) {
      text = field.choices.back();
    }
    EXPECT_EQ(set_field(state, field, text), std::nullopt) << field.key;
    EXPECT_EQ(field_text(state, field), text) << field.key;
  }
}

TEST(PrinterState, NumbersAreLimitedToTheDigitsOfTheReply) {
  PrinterState state;
  const StateField& remaining = *find_state_field("remaining");
  EXPECT_EQ(set_field(state, remaining, "9949"), std::nullopt);
  EXPECT_EQ(set_field(state, remaining, "9950"), "'9950' is not a number from 0 to 9949");
  EXPECT_EQ(set_field(state, remaining, "-1"), "'-1' is not a number from 0 to 9949");
  EXPECT_EQ(set_field(state, remaining, "7 "), "'7 ' is not a number from 0 to 9949");
  EXPECT_EQ(set_field(state, remaining, ""), "'' is not a number from 0 to 9949");
  EXPECT_EQ(state.remaining, 9949);
}

TEST(PrinterState, ModelIsOneOfFour) {
  PrinterState state;
  const StateField& model = *find_state_field("model");
  for (const char* name : {"K905", "RV-40", "RV-40W", "RS-30"}) {
    EXPECT_EQ(set_field(state, model, name), std::nullopt);
  }
  EXPECT_EQ(set_field(state, model, "K906"), "'K906' is not one of: K905, RV-40, RV-40W or RS-30");
  EXPECT_EQ(state.model, "RS-30");
}

TEST(PrinterState, TextsAreShortAndPrintable) {
  PrinterState state;
  const StateField& serial = *find_state_field("serial");
  EXPECT_EQ(set_field(state, serial, std::string(40, 'a')), std::nullopt);
  EXPECT_EQ(set_field(state, serial, std::string(41, 'a')), "at most 40 printable characters");
  EXPECT_EQ(set_field(state, serial, "a\tb"), "at most 40 printable characters");
}

TEST(StateFile, LinesSetFieldsButCommentsAndEmptyLinesDoNot) {
  PrinterState state;
  EXPECT_EQ(parse_state("# a roll of six by four\n\n  media = 6x4  \nremaining=7\r\n", state),
            std::nullopt);
  EXPECT_EQ(state.media, "6x4");
  EXPECT_EQ(state.remaining, 7);
}

TEST(StateFile, InvalidLineIsNamedAndNothingIsApplied) {
  PrinterState state;
  EXPECT_EQ(parse_state("remaining = 7\n\nstatus = open\n", state),
            "line 3: 'open' is not a number from 0 to 99999");
  EXPECT_EQ(parse_state("remaining = 7\npapers = 3\n", state), "line 2: unknown key 'papers'");
  EXPECT_EQ(parse_state("remaining 7\n", state), "line 1: expected key = value");
  EXPECT_EQ(state.remaining, 400);
}

TEST(StateFile, UpdateKeepsOrderAndCommentsAndAddsMissingFields) {
  PrinterState state;
  state.remaining = 3;
  const std::string text = update_state_text("# mine\nremaining = 9\nmedia=6x4\n", state);
  EXPECT_TRUE(text.starts_with("# mine\nremaining = 3\nmedia = 6x8\nmodel = K905\n")) << text;
  PrinterState again;
  again.remaining = 1;
  EXPECT_EQ(parse_state(text, again), std::nullopt);
  EXPECT_EQ(again.remaining, 3);
}

TEST(StateFile, MissingFileChangesNothing) {
  PrinterState state;
  state.remaining = 3;
  EXPECT_EQ(load_state("/nonexistent/state", state), std::nullopt);
  EXPECT_EQ(state.remaining, 3);
}

TEST(StateFile, SavedStateIsReadBack) {
  const ScratchFolder folder;
  const std::string path = folder.write("state", "# mine\nmodel = RV-40\n");
  PrinterState state;
  ASSERT_EQ(load_state(path, state), std::nullopt);
  state.remaining = 12;
  ASSERT_EQ(save_state(path, state), std::nullopt);
  PrinterState again;
  ASSERT_EQ(load_state(path, again), std::nullopt);
  EXPECT_EQ(again.model, "RV-40");
  EXPECT_EQ(again.remaining, 12);
  EXPECT_TRUE(folder.read("state")->starts_with("# mine\nmodel = RV-40\n"));
}

TEST(StateFile, UnwritableFileIsReported) {
  EXPECT_EQ(save_state("/nonexistent/state", PrinterState{}),
            "/nonexistent/state.new cannot be written");
}

}  // namespace
