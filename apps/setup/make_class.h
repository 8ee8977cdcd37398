// Makes a class of this printer's queues. CUPS sends a job of the class to any idle member, and the
// filters read the PPD file of that member: the members must print alike.
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

// Makes the class, or, if it exists and `replace` is set, gives it exactly these members and the
// usual defaults; its jobs stay. Everything is checked before the first change. Returns the error,
// or nothing.
[[nodiscard]] std::optional<std::string> make_class(Scheduler& scheduler, const ClassPlan& plan,
                                                    Findings& findings);

// The first reason why the queues cannot be members of one class: one is not a queue of this
// printer, or they differ in a property of the sheet. Adds notes for other defaults that differ.
[[nodiscard]] std::optional<std::string> compare_members(Scheduler& scheduler,
                                                         const std::vector<std::string>& members,
                                                         Findings& findings);

}  // namespace k905
