// The state of the printer in a small text file with lines "key = value".
//
// A user can edit it while the simulator runs ("status = 1000" opens the cover), and the simulator
// writes its counters to it after every sheet. Lines that begin with '#' and empty lines are kept.
#pragma once

#include <optional>
#include <string>

#include "devtools/sim/printer_state.h"

// Sets the fields in `text`. Null on success; otherwise "line 3: ...", and `state` is unchanged.
[[nodiscard]] std::optional<std::string> parse_state(const std::string& text, PrinterState& state);

// Returns `text` with the values of the state: known keys keep their place, missing ones are
// appended.
[[nodiscard]] std::string update_state_text(const std::string& text, const PrinterState& state);

// Reads the file, if it exists, into `state`. Null on success, otherwise the error. load_state()
// and save_state() do nothing if the path is "".
[[nodiscard]] std::optional<std::string> load_state(const std::string& path, PrinterState& state);

// Updates the file; readers see the old text or the new one, never a part.
[[nodiscard]] std::optional<std::string> save_state(const std::string& path,
                                                    const PrinterState& state);
