// The states of printers as text for operators, and as JSON and metrics for programs.
#pragma once

#include <string>
#include <vector>

#include "apps/status/printer_state.h"

namespace k905 {

// One printer in some lines: its name and state first, then its reports. Several printers in a
// table with a line for each.
[[nodiscard]] std::string as_text(const std::vector<PrinterState>& printers);

// A line for each printer: an object with all keys, always in the same order; unknown values are
// null. Bytes of the printer that are not UTF-8 become U+FFFD.
[[nodiscard]] std::string as_json(const std::vector<PrinterState>& printers);

// The text format of Prometheus. Values that a printer did not report have no sample.
[[nodiscard]] std::string as_metrics(const std::vector<PrinterState>& printers);

}  // namespace k905
