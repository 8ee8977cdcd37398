#include "apps/setup/make_queue.h"

#include <algorithm>
#include <cerrno>

#include "apps/base/queue_ppd.h"
#include "apps/setup/ask_printer.h"
#include "apps/setup/installation.h"
#include "apps/setup/printer_ppd.h"
#include "apps/status/print_system.h"

namespace k905 {

namespace {

// CUPS restarts a job that is printing from its first sheet when the queue's PPD file or device
// changes. Checked last, so that hardly any job starts in between.
std::optional<std::string> find_queue_problem(Scheduler& scheduler, const std::string& queue) {
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

bool has_attribute(const Attributes& attributes, const std::string& name) {
  return std::ranges::any_of(attributes,
                             [&](const auto& attribute) { return attribute.first == name; });
}

// The file's default choices that this version offers too; adds notes for the others.
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

std::vector<ConnectedDevice> usb_devices(Scheduler& scheduler, const std::string& device) {
  std::vector<ConnectedDevice> connected;
  if (scheme_of(device) == "usb") {
    (void)scheduler.list_devices("k905,usb", connected);
  }
  return connected;
}

void note_change(const std::string& from, const std::string& to, Findings& findings) {
  if (from != to) {
    findings.note("the device " + from + " is used as " + to +
                  ": the backend k905 checks the printer's status and sends complete sheets only");
  }
}

// The only printer that the backend k905 finds. Returns the error, or nothing.
std::optional<std::string> find_printer(Scheduler& scheduler, std::string& device,
                                        Findings& findings) {
  std::vector<ConnectedDevice> found;
  const auto reason = scheduler.list_devices("k905", found);
  if (found.size() == 1) {
    device = found.front().uri;
    findings.note("the connected printer is " + device);
    return std::nullopt;
  }
  if (!found.empty()) {
    std::string all;
    for (const ConnectedDevice& printer : found) {
      all.append(all.empty() ? "" : ", ").append(printer.uri);
    }
    return "several printers are connected; choose one with --device: " + all;
  }
  return (reason ? "connected printers: " + *reason : std::string("no printer is connected")) +
         "; switch it on, or give its address: --device k905://ADDRESS:9100 or --device URI, see "
         "--list";
}

// The address for the queue. Returns the error, or nothing.
std::optional<std::string> choose_device(Scheduler& scheduler, const QueuePlan& plan,
                                         const QueueState* existing, std::string& device,
                                         Findings& findings) {
  device = plan.device.empty() && existing != nullptr ? existing->device_uri : plan.device;
  if (device.empty()) {
    return find_printer(scheduler, device, findings);
  }
  if (!plan.keep_device) {
    if (const auto ours = k905_uri_of(device, usb_devices(scheduler, device))) {
      note_change(device, *ours, findings);
      device = *ours;
    }
  }
  return find_uri_problem(device);
}

// The new address of a queue's printer, "" to keep the old one. Only other backends support a print
// server that returns no replies, and a USB printer without a device file of the kernel.
std::string better_device(Scheduler& scheduler, const std::string& device, Findings& findings) {
  const std::vector<ConnectedDevice> connected = usb_devices(scheduler, device);
  const auto ours = k905_uri_of(device, connected);
  const auto address = ours ? parse_device_uri(*ours) : std::nullopt;
  if (!address || *ours == device || find_uri_problem(*ours)) {
    return "";
  }
  if (printing_queue(all_queues(), *address) == nullptr) {
    const PrinterAnswer printer = ask_printer(*address);
    const bool is_usb_only =
        printer.error == ENODEV &&
        std::ranges::find(connected, device, &ConnectedDevice::uri) != connected.end() &&
        std::ranges::find(connected, *ours, &ConnectedDevice::uri) == connected.end();
    if (printer.answer == Answer::no_reply || is_usb_only) {
      findings.note("the device stays " + device + ": the printer does not answer questions" +
                    (is_usb_only ? ", there is no /dev/usb/lp* for it" : ""));
      return "";
    }
  }
  note_change(device, *ours, findings);
  return *ours;
}

void add_share(QueueRequest& request, Share share) {
  if (share) {
    request.attributes.emplace_back("printer-is-shared", *share ? "true" : "false");
  }
}

std::string ppd_file(const ppd::Model& model, const Choices& defaults, bool keeps_device) {
  const std::string ppd = installed_ppd(model, defaults);
  return keeps_device ? with_kept_device(ppd) : ppd;
}

}  // namespace

std::optional<std::string> make_queue(Scheduler& scheduler, const QueuePlan& plan,
                                      Findings& findings) {
  const auto existing = scheduler.queue(plan.queue);
  if (existing && !existing->members.empty()) {
    return plan.queue + " is a class; give the queue another name";
  }
  if (existing && !plan.replace) {
    return "the queue " + plan.queue +
           " exists; --replace gives it this device and these defaults and keeps its jobs";
  }
  PlannedChange change{
      .request = {.queue = plan.queue,
                  .ppd = ppd_file(*plan.options.model, plan.options.choices, plan.keep_device),
                  .attributes = plan.options.attributes,
                  .start = true},
      .notes = {}};
  QueueRequest& request = change.request;
  if (auto problem = choose_device(scheduler, plan, existing ? &*existing : nullptr,
                                   request.device_uri, change.notes)) {
    return problem;
  }
  for (const auto& [name, value] : recommended_attributes) {
    if (!has_attribute(request.attributes, name)) {
      request.attributes.emplace_back(name, value);
    }
  }
  add_share(request, plan.share);
  if (existing) {
    request.removed_attributes = existing->job_defaults;
    std::erase_if(request.removed_attributes,
                  [&](const std::string& name) { return has_attribute(request.attributes, name); });
  }
  return change_queues(scheduler, {change}, plan.share, plan.queue, findings);
}

std::optional<std::string> update_queue(Scheduler& scheduler, const std::string& queue,
                                        bool keep_device, Share share, Findings& findings) {
  PlannedChange change;
  if (auto problem = plan_update(scheduler, queue, keep_device, change)) {
    return problem;
  }
  add_share(change.request, share);
  return change_queues(scheduler, {change}, share, queue, findings);
}

std::optional<std::string> plan_update(Scheduler& scheduler, const std::string& queue,
                                       bool keep_device, PlannedChange& change) {
  const auto state = scheduler.queue(queue);
  if (state && !state->members.empty()) {
    return queue + " is a class; update it with --class " + queue + " --update";
  }
  const Ppd ppd = read_queue_ppd(scheduler.http(), queue.c_str());
  const ppd::Model* model = ppd ? model_of(*ppd) : nullptr;
  if (!state || model == nullptr) {
    return queue + " is not a queue for this printer";
  }
  const bool keeps_device = keep_device || has_kept_device(*ppd);
  change.request.queue = queue;
  change.request.ppd = ppd_file(*model, offered_defaults(*ppd, change.notes), keeps_device);
  // Before the printer is asked, and again before the change.
  if (auto problem = find_queue_problem(scheduler, queue)) {
    return problem;
  }
  if (!keeps_device) {
    change.request.device_uri = better_device(scheduler, state->device_uri, change.notes);
  }
  return std::nullopt;
}

std::optional<std::string> change_queues(Scheduler& scheduler,
                                         const std::vector<PlannedChange>& changes, Share share,
                                         const std::string& name, Findings& findings) {
  for (const PlannedChange& change : changes) {
    if (auto problem = find_queue_problem(scheduler, change.request.queue)) {
      return problem;
    }
  }
  if (auto problem = apply_sharing(scheduler, share, name, findings)) {
    return problem;
  }
  std::string changed;
  for (const PlannedChange& change : changes) {
    auto problem = find_queue_problem(scheduler, change.request.queue);
    if (!problem) {
      problem = scheduler.change(change.request);
    }
    if (problem) {
      return *problem + (changed.empty() ? "" : "; changed already: " + changed);
    }
    changed.append(changed.empty() ? "" : ", ").append(change.request.queue);
    findings.add(change.notes);
  }
  return std::nullopt;
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
