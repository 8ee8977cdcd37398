// Makes a class of this printer's queues. CUPS sends a job of the class to any idle member, and the
// filters read the PPD file of that member: the members must print alike.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/setup/findings.h"
#include "apps/setup/make_queue.h"
#include "apps/setup/scheduler.h"

namespace k905 {

// Makes the class, or, if it exists and `replace` is set, gives it exactly these members and the
// recommended attributes; its jobs stay. With `update` its members are updated too. Everything is
// checked before the first change. An error is thrown as std::runtime_error.
void make_class(Scheduler& scheduler, const QueuePlan& plan, Findings& findings);

// The first reason why the queues cannot be members of one class: one is not a queue of this
// printer, or they differ in a property of the sheet. Adds notes for other defaults that differ.
[[nodiscard]] std::optional<std::string> compare_members(Scheduler& scheduler,
                                                         const std::vector<std::string>& members,
                                                         Findings& findings);

}  // namespace k905
