// Prints what is put into a folder, each picture once.
#pragma once

#include <string>

#include "apps/print/print_job.h"

struct WatchSetup {
  JobSetup job;
  std::string folder;
  std::string journal;   // file
  bool one_job = false;  // what is there together is one job, so that two pictures share a sheet
};

// The usual place of a folder's journal: in the user's state folder, made when it is not there.
// Empty, with the reason in `error`, when there is no place for it.
[[nodiscard]] std::string usual_journal(const std::string& folder, std::string& error);

// Until a signal asks to stop: exit status 0. 1 when the journal cannot be kept. `say` gets a line
// for every job that was taken.
[[nodiscard]] int watch_folder(const WatchSetup& setup, const Complaint& complain,
                               const Complaint& say);
