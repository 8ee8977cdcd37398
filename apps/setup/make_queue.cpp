#include "apps/setup/make_queue.h"

#include <algorithm>
#include <array>

#include "apps/base/queue_ppd.h"
#include "apps/setup/installation.h"
#include "apps/setup/printer_ppd.h"

namespace k905 {

namespace {

// Photos fill the paper, and a job waits for a printer that has run out of paper.
constexpr std::array<std::pair<const char*, const char*>, 2> kUsualAttributes{
    {{"print-scaling-default", "fill"}, {"printer-error-policy", "retry-current-job"}}};

// CUPS starts a job that is printing again from its first sheet when the queue's PPD file or device
// changes. To be asked last, so that no job gets far in between.
std::optional<std::string> why_not_now(Scheduler& scheduler, const std::string& queue) {
  const auto state = scheduler.queue(queue);
  if (!state || !state->printing) {
    return std::nullopt;
  }
  std::string which = "a job";  // of a class
  for (const QueueJob& job : scheduler.jobs(queue)) {
    if (job.state == IPP_JSTATE_PROCESSING) {
      which = "job " + std::to_string(job.id);
    }
  }
  return which + " is printing on " + queue +
         ", and a change would start it again from its first sheet; wait until it has ended, or "
         "stop the queue: cupsdisable " +
         queue;
}

using Attributes = std::vector<std::pair<std::string, std::string>>;

bool is_among(const Attributes& attributes, const std::string& name) {
  return std::ranges::any_of(attributes,
                             [&](const auto& attribute) { return attribute.first == name; });
}

// The file's default choices that this version offers too; the others are noted.
Choices offered_defaults(ppd_file_t& ppd, Findings& findings) {
  Choices kept;
  for (const auto& [keyword, usual] : default_choices()) {
    const std::string choice = default_choice(ppd, keyword);
    std::string ignored;
    if (check_choice(keyword, choice, ignored)) {
      kept[keyword] = choice;
    } else if (!choice.empty()) {
      std::string text = "the default ";
      text.append(keyword).append("=").append(choice);
      findings.note(text.append(" is not offered any more; it is now ").append(usual));
    }
  }
  return kept;
}

}  // namespace

std::optional<std::string> make_queue(Scheduler& scheduler, const QueuePlan& plan) {
  if (auto problem = why_not_usable(plan.device_uri)) {
    return problem;
  }
  QueueRequest request{.queue = plan.queue,
                       .device_uri = plan.device_uri,
                       .ppd = installed_ppd(*plan.options.model, plan.options.choices),
                       .attributes = plan.options.attributes,
                       .start = true};
  for (const auto& [name, value] : kUsualAttributes) {
    if (!is_among(request.attributes, name)) {
      request.attributes.emplace_back(name, value);
    }
  }
  if (const auto existing = scheduler.queue(plan.queue)) {
    if (!plan.replace) {
      return "the queue " + plan.queue +
             " exists; --replace gives it this device and these defaults and keeps its jobs";
    }
    request.removed_attributes = existing->job_defaults;
    std::erase_if(request.removed_attributes,
                  [&](const std::string& name) { return is_among(request.attributes, name); });
    if (auto problem = why_not_now(scheduler, plan.queue)) {
      return problem;
    }
  }
  return scheduler.change(request);
}

std::optional<std::string> update_queue(Scheduler& scheduler, const std::string& queue,
                                        Findings& findings) {
  const Ppd ppd = read_queue_ppd(scheduler.http(), queue.c_str());
  const ppd::Model* model = ppd ? model_of(*ppd) : nullptr;
  if (model == nullptr) {
    return queue + " is no queue of this printer";
  }
  const Choices kept = offered_defaults(*ppd, findings);
  if (auto problem = why_not_now(scheduler, queue)) {
    return problem;
  }
  return scheduler.change({.queue = queue, .ppd = installed_ppd(*model, kept)});
}

std::vector<std::string> queues_of_this_printer(Scheduler& scheduler) {
  std::vector<std::string> names = scheduler.queues();
  std::erase_if(names, [&](const std::string& name) {
    const Ppd ppd = read_queue_ppd(scheduler.http(), name.c_str());
    return !ppd || model_of(*ppd) == nullptr;
  });
  return names;
}

}  // namespace k905
