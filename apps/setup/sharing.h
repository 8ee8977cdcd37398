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

// If `share` is true and the scheduler does not serve the local networks yet, makes it do so,
// before the queue or class `name` is shared; returns when the scheduler has restarted and answers.
// Throws std::runtime_error while a job is printing: after the restart the job would start again
// from its first sheet.
void apply_sharing(Scheduler& scheduler, Share share, const std::string& name, Findings& findings);

// Reports whether other computers see the queue, and how phones and other systems add it.
void check_sharing(Scheduler& scheduler, const std::string& queue, const Queue& state,
                   Findings& findings);

}  // namespace k905
