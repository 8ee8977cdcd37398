// Finds problems that prevent a queue from printing, or from printing as expected, and that CUPS
// does not report. Changes nothing.
#pragma once

#include <sys/stat.h>

#include <string>

#include "apps/setup/findings.h"
#include "apps/setup/scheduler.h"

namespace k905 {

// Checks that the programs that a job needs, of CUPS and of this package, exist with permissions
// that CUPS accepts.
void check_programs(Findings& findings);

// Checks the queue's PPD file, device, state, jobs and defaults; for a class, its state, jobs and
// defaults, and whether its members can print and print alike.
void check_queue(Scheduler& scheduler, const std::string& queue, Findings& findings);

// Whether the filters can read a file with this owner, group and mode: CUPS runs them as the user
// lp, with only that user's primary group.
[[nodiscard]] bool is_readable_by_filters(const struct stat& status);

// Checks whether the queue's device is a printer that is connected and ready, and whether the queue
// uses the backend k905. Opens the device and asks the printer, but not while a job is printing on
// it. `keeps_device`: the user chose the address.
void check_device(Scheduler& scheduler, const std::string& queue, const Queue& state,
                  bool keeps_device, Findings& findings);

}  // namespace k905
