// A printer's state as text for people and as JSON for programs.
#pragma once

#include <string>

#include "apps/status/printer_state.h"

// Some lines: the device and its state first, then what the printer said.
[[nodiscard]] std::string as_text(const PrinterState& printer);

// One line: an object with all keys, always in the same order; null for what is not known. Bytes
// of the printer that are no UTF-8 become U+FFFD.
[[nodiscard]] std::string as_json(const PrinterState& printer);
