// The mode tables of overcoat and cutter, and the command that carries their values.

#include "protocol/controls.h"

#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <span>

#include "diag/log.h"
#include "protocol/command_block.h"
#include "protocol/decimal_field.h"
#include "protocol/transport.h"

namespace {

constexpr std::array<std::uint32_t, 2> kOvercoatCodes{0, 1};

// Deliberate: the printer's code for the third cutter mode is 120, not 2.
constexpr std::array<std::uint32_t, 3> kCutterCodes{0, 1, 120};

int mode_to_cmd(std::span<const std::uint32_t> codes, int mode, std::uint32_t* value) {
  if (mode < 0 || static_cast<std::size_t>(mode) >= codes.size()) {
    return -1;
  }
  *value = codes[static_cast<std::size_t>(mode)];
  return 0;
}

}  // namespace

int overcoat_mode_to_cmd(int mode, std::uint32_t* value) {
  return mode_to_cmd(kOvercoatCodes, mode, value);
}

int cutter_mode_to_cmd(int mode, std::uint32_t* value) {
  return mode_to_cmd(kCutterCodes, mode, value);
}

bool send_control(int descriptor, const char* name, int mode, ModeMapper mapper) {
  std::uint32_t value = 0;
  if (mapper != nullptr && mapper(mode, &value) != 0) {
    log_line("K905-1: invalid mode=%d for %s, fallback 0", mode, name);
    value = 0;
  }

  // One buffer, one write: the parameter must follow its block with nothing in between.
  std::array<char, kCommandBlockSize + kDecimalFieldSize> command;
  const CommandBlock block = make_command_block("CNTRL", name, kDecimalFieldSize);
  std::memcpy(command.data(), block.data(), block.size());
  put_decimal8(command.data() + kCommandBlockSize, value);

  log_line("K905-1: send CNTRL %s mode=%d", name, static_cast<int>(value));
  return k905_write_all(descriptor, command.data(), command.size()) ==
         static_cast<std::int64_t>(command.size());
}

void k905_cmd_cntrl_with_param(const char* name, int mode, ModeMapper mapper) {
  (void)send_control(STDOUT_FILENO, name, mode, mapper);
}
