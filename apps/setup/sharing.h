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

// Makes the scheduler serve the local networks, if `share` says so and it does not do so yet,
// before the queue or class `name` is shared. Refused while a job is printing, which the restart of
// the scheduler would start again from its first sheet. Returns when it answers again.
void apply_sharing(Scheduler& scheduler, Share share, const std::string& name, Findings& findings);

// Whether other computers see the queue, and how a phone and other systems add it.
void check_sharing(Scheduler& scheduler, const std::string& queue, const Queue& state,
                   Findings& findings);

}  // namespace k905
