// The printer's state in a small text file of lines "key = value".
//
// A person edits it while the simulator runs ("status = 1000" opens the cover), and the simulator
// writes its counters back after every sheet. Lines beginning with '#' and empty lines are left as
// they are.
#pragma once

#include <optional>
#include <string>

#include "devtools/sim/printer_state.h"

// Takes over what `text` sets. Null when done; otherwise "line 3: ...", and `state` is untouched.
[[nodiscard]] std::optional<std::string> parse_state(const std::string& text, PrinterState& state);

// `text` with the state's values in it: known keys keep their place, missing ones come at the end.
[[nodiscard]] std::string update_state_text(const std::string& text, const PrinterState& state);

// Reads the file, when there is one, into `state`. Null when done, otherwise what is wrong.
[[nodiscard]] std::optional<std::string> load_state(const std::string& path, PrinterState& state);

// Brings the file up to date; readers see the old text or the new one, never half of it.
[[nodiscard]] std::optional<std::string> save_state(const std::string& path,
                                                    const PrinterState& state);
