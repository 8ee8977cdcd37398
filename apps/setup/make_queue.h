// Making a queue and changing one that exists, without losing a job or printing one twice.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/setup/findings.h"
#include "apps/setup/queue_options.h"
#include "apps/setup/scheduler.h"
#include "apps/setup/sharing.h"

namespace k905 {

// Photos fill the paper, and a job waits for a printer that has run out of paper.
inline constexpr std::array<std::pair<const char*, const char*>, 2> usual_attributes{
    {{"print-scaling-default", "fill"}, {"printer-error-policy", "retry-current-job"}}};

struct QueuePlan {
  std::string queue;
  std::string device;  // a URI or a device file; "": the queue's own, or the connected printer
  bool keep_device = false;  // use this address as it is
  bool replace = false;
  Share share{};
  QueueOptions options;
};

// Makes the queue, or, when it exists and `replace` is set, gives it this device and only these
// defaults; its jobs stay. A device that the backend k905 can reach is used through it, which is
// noted. Returns what went wrong, or nothing; then nothing was changed.
[[nodiscard]] std::optional<std::string> make_queue(Scheduler& scheduler, const QueuePlan& plan,
                                                    Findings& findings);

// Gives the queue the PPD file of this version, and a device that the backend k905 can reach
// through that backend; with `keep_device` the address stays, now and later. Default choices, jobs
// and state stay, and so does whether it is shared unless `share` says. A default that is no longer
// offered becomes the usual one. What changes is noted. Returns what went wrong, or nothing.
[[nodiscard]] std::optional<std::string> update_queue(Scheduler& scheduler,
                                                      const std::string& queue, bool keep_device,
                                                      Share share, Findings& findings);

// All queues whose PPD file is one of this printer's.
[[nodiscard]] std::vector<std::string> queues_of_this_printer(Scheduler& scheduler);

}  // namespace k905
