// Making a class of this printer's queues. CUPS gives a job of the class to any member that is
// free, and the filters then read this member's PPD file: the members must print alike.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/setup/findings.h"
#include "apps/setup/scheduler.h"
#include "apps/setup/sharing.h"

namespace k905 {

struct ClassPlan {
  std::string name;
  std::vector<std::string> members;  // empty with `update`: those that it has
  bool replace = false;
  bool update = false;
  Share share{};
};

// Makes the class, or, when it exists and `replace` is set, gives it exactly these members and the
// usual defaults; its jobs stay. With `update` a class that exists and its members are updated: the
// members as update_queue() does it, the class gets the usual defaults again; its state and whether
// it is shared stay. Returns what went wrong, or nothing; then nothing was changed, but members
// that come before one which cannot be updated.
[[nodiscard]] std::optional<std::string> make_class(Scheduler& scheduler, const ClassPlan& plan,
                                                    Findings& findings);

// The first reason why the queues cannot be members of one class: one is no queue of this printer,
// or they differ in what a sheet is. Other defaults that differ are noted.
[[nodiscard]] std::optional<std::string> compare_members(Scheduler& scheduler,
                                                         const std::vector<std::string>& members,
                                                         Findings& findings);

}  // namespace k905
