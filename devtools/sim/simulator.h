// Simulated printers: wait for clients, answer them, take their sheets, execute commands.
#pragma once

#include <string>
#include <vector>

#include "devtools/sim/device.h"

struct SimulatorOptions {
  std::vector<DeviceOptions> devices;
  bool reads_commands = false;  // from standard input
};

// Runs until SIGINT or SIGTERM. Prints for each printer the path of the terminal on one line and
// the port, if any, on the next, and then every sheet. Returns false with the reason in `error` if
// a connection cannot be opened, the folder for images cannot be written, or, at the end, if images
// could not be stored.
[[nodiscard]] bool run_simulator(const SimulatorOptions& options, std::string& error);
