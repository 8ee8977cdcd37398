#include "apps/setup/make_queue.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "apps/base/queue_ppd.h"
#include "apps/base/text.h"
#include "apps/setup/ask_printer.h"
#include "apps/setup/installation.h"
#include "apps/setup/printer_ppd.h"
#include "apps/status/print_system.h"

namespace k905 {

namespace {

// CUPS restarts a job that is printing from its first sheet when the queue's PPD file or device
// changes. Checked last, so that hardly any job starts in between.
void refuse_while_printing(Scheduler& scheduler, const std::string& queue) {
  const auto state = scheduler.queue(queue);
  if (!state || !state->printing) {
    return;
  }
  std::string which = "a job";  // a job of a class is not in the list of the queue
  for (const QueueJob& job : scheduler.jobs(queue)) {
    if (job.state == IPP_JSTATE_PROCESSING) {
      which = "job " + std::to_string(job.id);
    }
  }
  throw std::runtime_error(which + " is printing on " + queue +
                           ", and a change would start it again from its first sheet; wait until "
                           "it has ended, or stop the queue: cupsdisable " +
                           queue);
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

// The only printer that the backend k905 finds.
std::string find_printer(Scheduler& scheduler, Findings& findings) {
  std::vector<ConnectedDevice> found;
  const auto reason = scheduler.list_devices("k905", found);
  if (found.size() == 1) {
    findings.note("the connected printer is " + found.front().uri);
    return found.front().uri;
  }
  if (found.empty()) {
    throw std::runtime_error(
        (reason ? *reason + "; you can also give the address of the printer"
                : std::string("no printer is connected; switch it on, or give its address")) +
        ": --device k905://ADDRESS:9100 or --device URI, see --list");
  }
  std::string all;
  for (const ConnectedDevice& printer : found) {
    append_to_list(all, printer.uri);
  }
  throw std::runtime_error("several printers are connected; choose one with --device: " + all);
}

// The address for the queue. `own`: the one that it has.
std::string choose_device(Scheduler& scheduler, const QueuePlan& plan, const std::string& own,
                          Findings& findings) {
  std::string device = plan.device.empty() ? own : plan.device;
  if (device.empty()) {
    return find_printer(scheduler, findings);
  }
  if (!plan.keep_device) {
    if (const auto ours = k905_uri_of(device, usb_devices(scheduler, device))) {
      note_change(device, *ours, findings);
      device = *ours;
    }
  }
  if (const auto problem = find_uri_problem(device)) {
    throw std::runtime_error(*problem);
  }
  return device;
}

// The new address for a queue's printer on the backend k905; "" to keep the old one. Only other
// backends support a print server that returns no replies, and a USB printer without a device file
// of the kernel.
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
      findings.note("the device stays " + device + ": the printer does not answer status queries" +
                    (is_usb_only ? ", there is no /dev/usb/lp* for it" : ""));
      return "";
    }
  }
  note_change(device, *ours, findings);
  return *ours;
}

void set_share(QueueChange& change, Share share) {
  if (share) {
    change.attributes["printer-is-shared"] = *share ? "true" : "false";
  }
}

std::string ppd_file(const ppd::Model& model, const Choices& defaults, bool keeps_device) {
  const std::string ppd = installed_ppd(model, defaults);
  return keeps_device ? with_kept_device(ppd) : ppd;
}

}  // namespace

void make_queue(Scheduler& scheduler, const QueuePlan& plan, Findings& findings) {
  const auto existing = scheduler.queue(plan.name);
  if (existing && !existing->members.empty()) {
    throw std::runtime_error(plan.name + " is a class; give the queue another name");
  }
  if (existing && !plan.replace) {
    throw std::runtime_error(
        "the queue " + plan.name +
        " exists; --replace gives it this device and these defaults and keeps its jobs");
  }
  QueueChange change{.name = plan.name,
                     .ppd = ppd_file(*plan.options.model, plan.options.choices, plan.keep_device),
                     .attributes = plan.options.attributes,
                     .start = true};
  change.device_uri =
      choose_device(scheduler, plan, existing ? existing->device_uri : "", change.notes);
  change.attributes.insert(recommended_attributes.begin(), recommended_attributes.end());
  set_share(change, plan.share);
  if (existing) {
    change.removed_attributes = existing->job_defaults;
    std::erase_if(change.removed_attributes,
                  [&](const std::string& name) { return change.attributes.contains(name); });
  }
  change_queues(scheduler, {change}, plan.share, plan.name, findings);
}

void update_queue(Scheduler& scheduler, const std::string& queue, bool keep_device, Share share,
                  Findings& findings) {
  QueueChange change = plan_update(scheduler, queue, keep_device);
  set_share(change, share);
  change_queues(scheduler, {change}, share, queue, findings);
}

QueueChange plan_update(Scheduler& scheduler, const std::string& queue, bool keep_device) {
  const auto state = scheduler.queue(queue);
  if (state && !state->members.empty()) {
    throw std::runtime_error(queue + " is a class; update it with --class " + queue + " --update");
  }
  const Ppd ppd = read_queue_ppd(scheduler.http(), queue.c_str());
  const ppd::Model* model = ppd ? model_of(*ppd) : nullptr;
  if (!state || model == nullptr) {
    throw std::runtime_error(queue + " is not a queue for this printer");
  }
  const bool keeps_device = keep_device || has_kept_device(*ppd);
  QueueChange change{.name = queue};
  change.ppd = ppd_file(*model, offered_defaults(*ppd, change.notes), keeps_device);
  // Before the printer is asked, and again before the change.
  refuse_while_printing(scheduler, queue);
  if (!keeps_device) {
    change.device_uri = better_device(scheduler, state->device_uri, change.notes);
  }
  return change;
}

void change_queues(Scheduler& scheduler, const std::vector<QueueChange>& changes, Share share,
                   const std::string& name, Findings& findings) {
  for (const QueueChange& change : changes) {
    refuse_while_printing(scheduler, change.name);
  }
  apply_sharing(scheduler, share, name, findings);
  std::string changed;
  for (const QueueChange& change : changes) {
    try {
      refuse_while_printing(scheduler, change.name);
      scheduler.change(change);
    } catch (const std::runtime_error& error) {
      throw std::runtime_error(error.what() +
                               (changed.empty() ? "" : "; changed already: " + changed));
    }
    append_to_list(changed, change.name);
    findings.add(change.notes);
  }
}

std::vector<std::string> queues_of_this_printer(Scheduler& scheduler) {
  std::vector<std::string> names;
  for (const Queue& queue : scheduler.queues()) {
    const Ppd ppd = read_queue_ppd(scheduler.http(), queue.name.c_str());
    if (ppd && model_of(*ppd) != nullptr) {
      names.push_back(queue.name);
    }
  }
  return names;
}

}  // namespace k905
