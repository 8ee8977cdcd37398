// Making a queue and changing one that exists, without losing a job or printing one twice.
#pragma once

#include <string>

#include "apps/setup/findings.h"
#include "apps/setup/queue_options.h"
#include "apps/setup/scheduler.h"

namespace k905 {

struct QueuePlan {
  std::string queue;
  std::string device_uri;
  bool replace = false;
  QueueOptions options;
};

// Makes the queue, or, when it exists and `replace` is set, gives it this device and only these
// defaults; its jobs stay. Returns what went wrong, or nothing; then nothing was changed.
[[nodiscard]] std::optional<std::string> make_queue(Scheduler& scheduler, const QueuePlan& plan);

// Gives the queue the PPD file of this version and keeps its default choices, jobs, device and
// state. A default that is no longer offered becomes the usual one and is noted. Returns what went
// wrong, or nothing.
[[nodiscard]] std::optional<std::string> update_queue(Scheduler& scheduler,
                                                      const std::string& queue, Findings& findings);

// All queues whose PPD file is one of this printer's.
[[nodiscard]] std::vector<std::string> queues_of_this_printer(Scheduler& scheduler);

}  // namespace k905
