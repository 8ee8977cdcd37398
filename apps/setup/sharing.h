// Offering queues to phones, tablets and other computers: an attribute of the queue, a setting of
// the scheduler, and Avahi, which announces the queue on the network.
#pragma once

#include <optional>
#include <string>

#include "apps/setup/findings.h"
#include "apps/setup/scheduler.h"

namespace k905 {

// Whether to share; null if it stays as it is.
using Share = std::optional<bool>;

// Why the scheduler cannot be made to share now, or nothing: it would restart, and a job that is
// printing would start again from its first sheet. To be asked before a queue is changed.
[[nodiscard]] std::optional<std::string> why_not_shared_now(Scheduler& scheduler, Share share);

// Makes the scheduler serve the local networks, if `share` says so and it does not do so yet. It
// restarts; returns when it answers again. What went wrong, or nothing.
[[nodiscard]] std::optional<std::string> apply_sharing(Scheduler& scheduler, Share share,
                                                       Findings& findings);

// Whether other computers see the queue, and how a phone and other systems add it.
void check_sharing(Scheduler& scheduler, const std::string& queue, const QueueState& state,
                   Findings& findings);

}  // namespace k905
