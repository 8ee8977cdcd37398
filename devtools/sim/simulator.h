// Simulated printers: wait for clients, answer them, take their sheets, obey commands.
#pragma once

#include <string>
#include <vector>

#include "devtools/sim/device.h"

struct SimulatorOptions {
  std::vector<DeviceOptions> devices;
  bool reads_commands = false;  // from standard input
};

// Runs until SIGINT or SIGTERM. Standard output gives, for each printer, the terminal's path in a
// line and the port in the next when there is one, and from then on every sheet. Returns false with
// the reason in `error` when a line cannot be opened, the folder for pictures cannot be written,
// or, at the end, when pictures could not be stored.
[[nodiscard]] bool run_simulator(const SimulatorOptions& options, std::string& error);
