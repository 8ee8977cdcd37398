#include "protocol/controls.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "tests/support/captured_log.h"
#include "tests/support/system_hooks.h"

namespace {

struct Sent {
  std::string bytes;
  std::string log;
};

Sent sent_to_output(const char* name, int mode, ModeMapper mapper) {
  Sent sent;
  sent.log = captured_log([&] {
    sent.bytes = captured_output([&] { k905_cmd_cntrl_with_param(name, mode, mapper); });
  });
  return sent;
}

TEST(Controls, KnownModesGiveTheirCodesAndOthersLeaveTheValue) {
  const struct {
    ModeMapper mapper;
    int mode;
    int result;
    std::uint32_t value;
  } cases[] = {{overcoat_mode_to_cmd, 0, 0, 0},   {overcoat_mode_to_cmd, 1, 0, 1},
               {overcoat_mode_to_cmd, 2, -1, 99}, {overcoat_mode_to_cmd, -1, -1, 99},
               {cutter_mode_to_cmd, 0, 0, 0},     {cutter_mode_to_cmd, 1, 0, 1},
               {cutter_mode_to_cmd, 2, 0, 120},   {cutter_mode_to_cmd, 3, -1, 99},
               {cutter_mode_to_cmd, -1, -1, 99}};
  for (const auto& [mapper, mode, result, expected] : cases) {
    std::uint32_t value = 99;
    EXPECT_EQ(mapper(mode, &value), result);
    EXPECT_EQ(value, expected);
  }
}

TEST(Controls, CommandIsABlockAndTheCodeInEightDigits) {
  Sent sent = sent_to_output("CUTTER", 2, cutter_mode_to_cmd);
  EXPECT_EQ(sent.bytes,
            "\x1b"
            "PCNTRL CUTTER          0000000800000120");
  EXPECT_EQ(sent.log, "K905-1: send CNTRL CUTTER mode=120\n");
  sent = sent_to_output("OVERCOAT", 2, overcoat_mode_to_cmd);
  EXPECT_EQ(sent.bytes,
            "\x1b"
            "PCNTRL OVERCOAT        0000000800000000");
  EXPECT_EQ(sent.log,
            "K905-1: invalid mode=2 for OVERCOAT, fallback 0\n"
            "K905-1: send CNTRL OVERCOAT mode=0\n");
}

TEST(Controls, ParameterWithoutAMapperIsZero) {
  const Sent sent = sent_to_output("CUTTER", 2, nullptr);
  EXPECT_EQ(sent.bytes.substr(32), "00000000");
  EXPECT_EQ(sent.log, "K905-1: send CNTRL CUTTER mode=0\n");
}

TEST(Controls, BlockAndParameterAreOneWrite) {
  const hooks::Guard guard;
  sent_to_output("CUTTER", 0, cutter_mode_to_cmd);
  EXPECT_EQ(hooks::writes_to_output, std::vector<std::size_t>{40});
}

TEST(Controls, ResultIsWhetherAllWasWritten) {
  const hooks::Guard guard;
  const auto is_complete = [](hooks::Step step) {
    hooks::write_script = {.descriptor = 1, .steps = {step}};
    bool complete = false;
    captured_log([&] {
      captured_output([&] { complete = send_control(1, "CUTTER", 0, cutter_mode_to_cmd); });
    });
    return complete;
  };
  EXPECT_TRUE(is_complete({.at_most = 1000000}));
  EXPECT_FALSE(is_complete({.at_most = 0}));
  EXPECT_FALSE(is_complete({.error = EIO}));
}

TEST(Controls, FailedWriteIsOnlyLogged) {
  const hooks::Guard guard;
  hooks::write_script = {.descriptor = 1, .steps = {{.error = EPIPE}}};
  const Sent sent = sent_to_output("CUTTER", 0, cutter_mode_to_cmd);
  EXPECT_EQ(sent.bytes, "");
  EXPECT_EQ(sent.log,
            "K905-1: send CNTRL CUTTER mode=0\n"
            "K905-1: write error: Broken pipe\n");
}

}  // namespace
