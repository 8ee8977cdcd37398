// How a printer is, for operators and monitors.
#pragma once

#include <string>
#include <vector>

#include "apps/status/print_system.h"
#include "device/printer_report.h"

namespace k905 {

enum class State {
  ready,
  busy,         // prints, cools down: becomes ready by itself
  attention,    // needs the operator
  unreachable,  // no device, or no answer
  held          // another program, mostly the print system, has the device
};

struct PrinterState {
  std::string device;  // as it was named
  State state = State::unreachable;
  std::string message;  // what the status text does not say
  PrinterReport report;
};

// Names of a state in text, in JSON and as an exit status.
struct StateNames {
  const char* words;
  const char* key;
  int exit_status;
};
[[nodiscard]] const StateNames& names_of(State state);

// "" for no code and for one that is not known.
[[nodiscard]] std::string status_text_of(const PrinterReport& report);

// The status text and the message, as far as there are any.
[[nodiscard]] std::string explanation_of(const PrinterState& printer);

// What a report means.
[[nodiscard]] State state_of(const PrinterReport& report);

// The states of the printers with these names: device files, serial numbers, HOST:PORT, queues, and
// classes for all their members. A printer on which a queue prints is not asked, because a question
// would end up in the image: its state is what the queue's backend last saw, or `held`. The
// printers are asked at the same time.
[[nodiscard]] std::vector<PrinterState> ask_printers(const std::vector<std::string>& names);

// The same with the queues given.
[[nodiscard]] PrinterState ask_printer(const std::string& name, const std::vector<Queue>& queues);

}  // namespace k905
