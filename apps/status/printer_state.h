// How a printer is, as a person or a monitor wants to know it.
#pragma once

#include <string>

#include "apps/status/report.h"

enum class State {
  ready,
  busy,         // prints, cools down: becomes ready by itself
  attention,    // a person has to go there
  unreachable,  // no device, or nobody answers
  held          // another program, mostly the print system, has the device
};

struct PrinterState {
  std::string device;
  State state = State::unreachable;
  std::string message;  // why, where the status text does not say it
  PrinterReport report;
};

// What people, the JSON text and the exit status call a state.
struct StateNames {
  const char* words;
  const char* key;
  int exit_status;
};
[[nodiscard]] const StateNames& names_of(State state);

// Asks the printer at `device` through the filter's status query, unless a queue prints on it.
[[nodiscard]] PrinterState ask_printer(const std::string& device);

// What a report means.
[[nodiscard]] State state_of(const PrinterReport& report);
