// The states of printers as text for operators, and as JSON and metrics for programs.
#pragma once

#include <string>
#include <vector>

#include "apps/status/printer_state.h"

namespace k905 {

// One printer as lines: name and state, then one value per line. Several printers as a table with
// one line for each.
[[nodiscard]] std::string as_text(const std::vector<PrinterState>& printers);

// One line for each printer: an object with all keys, always in the same order; unknown values are
// null. Bytes that are not UTF-8 become U+FFFD.
[[nodiscard]] std::string as_json(const std::vector<PrinterState>& printers);

// The text format of Prometheus. Values that a printer did not report have no sample.
[[nodiscard]] std::string as_metrics(const std::vector<PrinterState>& printers);

}  // namespace k905
