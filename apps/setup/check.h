// What prevents a queue from printing, or from printing as expected, without an error message.
// Nothing is changed.
#pragma once

#include <string>

#include "apps/setup/findings.h"
#include "apps/setup/scheduler.h"

namespace k905 {

// The programs of CUPS and ours that a job needs: present, and with permissions that CUPS accepts.
void check_programs(Findings& findings);

// The queue's PPD file, device, state, jobs and defaults. Of a class: its state, jobs and defaults,
// and whether its members can print and print alike.
void check_queue(Scheduler& scheduler, const std::string& queue, Findings& findings);

// Whether the queue's device is a printer that is connected and ready, and whether its address is
// on the backend k905. Opens the device and asks the printer, but not while a job is printing on
// it. `keeps_device`: the user chose the address.
void check_device(Scheduler& scheduler, const std::string& queue, const QueueState& state,
                  bool keeps_device, Findings& findings);

}  // namespace k905
