// The control commands that finish a sheet, and the printer's own numbers for them.
#pragma once

#include <cstdint>

// Stores the printer's value for `mode` and returns 0; returns -1 and does not change `value` if
// the mode is out of range. Overcoat modes are 0 and 1; cutter modes are 0, 1 and 2, and 2 is sent
// as 120.
[[nodiscard]] int overcoat_mode_to_cmd(int mode, std::uint32_t* value);
[[nodiscard]] int cutter_mode_to_cmd(int mode, std::uint32_t* value);

using ModeMapper = int (*)(int mode, std::uint32_t* value);

// Writes "CNTRL <name>" with its eight-digit parameter, 40 bytes in one write, to `descriptor`.
// Without a mapper the parameter is 0; a mode that the mapper rejects is logged and sent as 0.
// Returns whether all bytes were written; a failed write is logged.
[[nodiscard]] bool send_control(int descriptor, const char* name, int mode, ModeMapper mapper);

// The same to standard output. The outcome of the write is only logged.
void k905_cmd_cntrl_with_param(const char* name, int mode, ModeMapper mapper);
