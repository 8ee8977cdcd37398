// Makes and changes queues, without losing a job or printing one twice. An error is thrown as
// std::runtime_error.
#pragma once

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "apps/setup/findings.h"
#include "apps/setup/queue_options.h"
#include "apps/setup/scheduler.h"
#include "apps/setup/sharing.h"

namespace k905 {

// Photos fill the paper, and a failed job is tried again.
inline constexpr std::array<std::pair<const char*, const char*>, 2> recommended_attributes{
    {{"print-scaling-default", "fill"}, {"printer-error-policy", "retry-current-job"}}};

// The settings of a queue or class from the command line.
struct QueuePlan {
  std::string name;
  std::vector<std::string> members;  // of a class; empty with `update`: those that it has
  std::string device;  // a URI or a device file; "": the queue's own, or the connected printer
  bool keep_device = false;  // keep this address
  bool replace = false;
  bool update = false;
  Share share{};
  QueueOptions options;
};

// Makes the queue, or, if it exists and `replace` is set, gives it this device and only these
// defaults; its jobs stay. A device that the backend k905 can reach gets an address of that
// backend, with a note.
void make_queue(Scheduler& scheduler, const QueuePlan& plan, Findings& findings);

// Gives the queue the PPD file of this version and, if the backend k905 can reach its device, an
// address of that backend; with `keep_device` the address stays, now and in later updates. Default
// choices, jobs and state stay. A default that is no longer offered is replaced by the
// standard default of its option. Adds notes for the changes.
void update_queue(Scheduler& scheduler, const std::string& queue, bool keep_device, Share share,
                  Findings& findings);

// What update_queue() changes.
[[nodiscard]] QueueChange plan_update(Scheduler& scheduler, const std::string& queue,
                                      bool keep_device);

// Changes the queues, and before them the scheduler's setting if the queue or class `name` is to be
// shared. Changes nothing if a job is printing on one of them; if a job begins meanwhile, the error
// names the queues that are changed already. Adds the notes of the changed queues.
void change_queues(Scheduler& scheduler, const std::vector<QueueChange>& changes, Share share,
                   const std::string& name, Findings& findings);

// All queues of this printer, according to their PPD files.
[[nodiscard]] std::vector<std::string> queues_of_this_printer(Scheduler& scheduler);

}  // namespace k905
