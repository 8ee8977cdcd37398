// Prints each photo that is added to a folder once, and prints sheets again on request.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "apps/print/print_job.h"

namespace k905 {

struct WatchSetup {
  JobSetup job;
  std::string folder;
  std::string ledger;  // file
  SheetLimit limit;
  bool new_only = false;  // photos that are in the folder when it is first watched are not printed
  bool move = false;      // finished files are moved to printed/ and failed/
  // Two photos on a sheet: how long a photo waits for another one before it is printed alone.
  std::chrono::seconds partner_wait{60};
};

// Runs until a signal asks to stop: exit status 0. 1 if the ledger cannot be written. Reports every
// photo that was printed, refused, withdrawn or is in doubt.
[[nodiscard]] int watch_folder(const WatchSetup& setup, const Reporter& reporter);

// Prints the waiting sheets of this photo, unless another process watches the folder and does so.
// Exit status 0 if all were printed, or the other process has them.
[[nodiscard]] int print_waiting(const WatchSetup& setup, const std::string& name,
                                const Reporter& reporter);

}  // namespace k905
