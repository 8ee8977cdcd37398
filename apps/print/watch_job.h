// Prints what is put into a folder, each photo once; and again what the ledger says was printed.
#pragma once

#include <cstdint>
#include <string>

#include "apps/print/print_job.h"

struct WatchSetup {
  JobSetup job;
  std::string folder;
  std::string ledger;     // file
  int limit = 0;          // sheets in a day; 0: any number
  bool new_only = false;  // photos that are there when the folder is first watched are left
  bool move = false;      // finished files are moved to printed/ and failed/
};

// Until a signal asks to stop: exit status 0. 1 when the ledger cannot be written. Reports every
// photo that was printed, refused, withdrawn or is in doubt.
[[nodiscard]] int watch_folder(const WatchSetup& setup, const k905::Reporter& reporter);

// Prints the sheets of these photos that wait in the ledger, unless a watch of the folder that is
// running does so. Exit status 0 when none is left waiting.
[[nodiscard]] int print_waiting(const WatchSetup& setup, const std::string& name,
                                const k905::Reporter& reporter);
