// The state of a printer, for operators and monitors.
#pragma once

#include <string>
#include <vector>

#include "apps/status/print_system.h"
#include "device/printer_report.h"

namespace k905 {

enum class State {
  ready,
  busy,         // printing or cooling down; becomes ready by itself
  attention,    // needs operator attention
  unreachable,  // the device cannot be opened, or the printer does not answer
  in_use        // the print system or another program is using the device
};

struct PrinterState {
  std::string device;  // as the user named it
  State state = State::unreachable;
  std::string message;  // in addition to the status text
  PrinterReport report;
};

// How a state is shown: as text, as a value in JSON, and as an exit status.
struct StateNames {
  const char* text;
  const char* key;
  int exit_status;
};
[[nodiscard]] const StateNames& names_of(State state);

// Empty if the report has no status code or an unknown one.
[[nodiscard]] std::string status_text_of(const PrinterReport& report);

// The status text and the message, if there are any.
[[nodiscard]] std::string explanation_of(const PrinterState& printer);

// The state that corresponds to a report.
[[nodiscard]] State state_of(const PrinterReport& report);

// The states of the printers with these names: device files, serial numbers, HOST:PORT, queues, and
// classes (all their members). A printer on which a queue is printing is not asked, because the
// query would become part of the image: its state is the last report of the queue's backend, or
// `in_use`. All printers are asked at the same time.
[[nodiscard]] std::vector<PrinterState> ask_printers(const std::vector<std::string>& names);

// The state of one printer; `queues` are those of all_queues().
[[nodiscard]] PrinterState ask_printer(const std::string& name, const std::vector<Queue>& queues);

}  // namespace k905
