// Making a class of this printer's queues. CUPS gives a job of the class to any member that is
// free, and the filters then read this member's PPD file: the members must print alike.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/setup/findings.h"
#include "apps/setup/scheduler.h"

namespace k905 {

struct ClassPlan {
  std::string name;
  std::vector<std::string> members;
  bool replace = false;
};

// Makes the class, or, when it exists and `replace` is set, gives it exactly these members and the
// usual defaults; its jobs stay. Returns what went wrong, or nothing; then nothing was changed.
[[nodiscard]] std::optional<std::string> make_class(Scheduler& scheduler, const ClassPlan& plan,
                                                    Findings& findings);

// The first reason why the queues cannot be members of one class: one is no queue of this printer,
// or they differ in what a sheet is. Other defaults that differ are noted.
[[nodiscard]] std::optional<std::string> compare_members(Scheduler& scheduler,
                                                         const std::vector<std::string>& members,
                                                         Findings& findings);

}  // namespace k905
