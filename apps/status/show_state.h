// The states of printers as text for operators, and as JSON and metrics for programs.
#pragma once

#include <string>
#include <vector>

#include "apps/status/printer_state.h"

namespace k905 {

// One printer in some lines: its name and state first, then what it reported. Several in a table
// with a line for each.
[[nodiscard]] std::string as_text(const std::vector<PrinterState>& printers);

// A line for each printer: an object with all keys, always in the same order; null for what is not
// known. Bytes of the printer that are no UTF-8 become U+FFFD.
[[nodiscard]] std::string as_json(const std::vector<PrinterState>& printers);

// The text format of Prometheus. A printer has no sample for what it did not report.
[[nodiscard]] std::string as_metrics(const std::vector<PrinterState>& printers);

}  // namespace k905
