// The simulated printer: waits for clients, answers them, takes their sheets.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "devtools/sim/fault.h"
#include "devtools/sim/printer_state.h"

struct SimulatorOptions {
  PrinterState state;
  std::string state_file;  // "" for none; otherwise read again before every answer
  Fault fault;
  std::string sheets;                 // folder for pictures, "" for none
  bool canvas = false;                // pictures with the margins beyond the paper
  std::optional<std::uint16_t> port;  // of the loopback interface; 0 takes a free one
};

// Runs until SIGINT or SIGTERM. Standard output tells the terminal's path in its first line, the
// port in its second when there is one, and from then on every sheet. Returns false with the reason
// in `error` when a line cannot be opened, the folder for pictures cannot be written, or, at the
// end, when pictures could not be stored.
[[nodiscard]] bool run_simulator(const SimulatorOptions& options, std::string& error);
