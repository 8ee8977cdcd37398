// Finds the printer for a name, asks it, and derives its state.

#include "apps/status/printer_state.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <future>

#include "apps/backend/printer_lock.h"
#include "protocol/status_texts.h"

namespace k905 {

namespace {

// Status codes from this one on need operator attention.
constexpr int kFirstFault = 1000;
constexpr int kIdle = 0;
constexpr int kStandby = 900;

constexpr Printer::Milliseconds kOpenTimeout{5000};

std::string printing_on(const Queue& queue) {
  return "the print system is printing on it (queue " + queue.name + ")";
}

void use_last_report(const Queue& queue, PrinterState& printer) {
  printer.state = State::in_use;
  printer.message = printing_on(queue);
  if (!queue.device_uri.starts_with("k905:")) {
    return;
  }
  const PrinterReport report = parse_note(queue.note);
  if (!report.answered) {
    return;
  }
  printer.report = report;
  if (!report.status_code) {
    printer.state = State::unreachable;
    printer.message = queue.message + ", as queue " + queue.name + " last saw it";
    return;
  }
  // Between two sheets the printer is idle, but the queue still uses it.
  const State state = state_of(report);
  printer.state = state == State::ready ? State::busy : state;
  printer.message = "as queue " + queue.name + " last saw it while printing";
}

void explain_open_error(int error, const PrinterAddress& address, const std::vector<Queue>& queues,
                        PrinterState& printer) {
  const bool is_missing = error == ENOENT || error == ENODEV || error == ENXIO;
  const Queue* usb = printing_usb_queue(queues);
  if ((error == EBUSY || is_missing) && usb != nullptr) {
    printer.state = State::in_use;
    printer.message = printing_on(*usb);
  } else if (error == EBUSY) {
    printer.state = State::in_use;
    printer.message = "another program has it open";
  } else if (address.kind == PrinterAddress::Kind::kSerial && error == ENODEV) {
    printer.message =
        find_queue(queues, printer.device) != nullptr
            ? "the printer of this queue is not connected"
            : "no connected printer has this serial number, and no queue has this name";
  } else if (error == ENOTTY) {
    printer.message = "this is not a printer device; nothing was written to it";
  } else {
    printer.message = std::strerror(error);
  }
}

// The part of the explanation that the status text does not contain.
std::string message_for(const PrinterReport& report) {
  if (!report.answered) {
    return "the printer does not answer";
  }
  if (report.status_error == EPROTO) {
    return "the printer's status reply is not a number";
  }
  if (report.status_error != 0) {
    return std::string("its status cannot be read: ") + std::strerror(report.status_error);
  }
  return status_text_of(report).empty() ? "the printer reports an unknown status" : "";
}

void ask_unless_in_use(const PrinterAddress& address, const std::vector<Queue>& queues,
                       PrinterState& printer) {
  // The backend may still send a sheet after the job or the scheduler has ended.
  const backend::PrinterLock lock(address);
  if (lock.is_held_elsewhere()) {
    printer.state = State::in_use;
    printer.message = "the print system is sending a sheet to it";
    return;
  }
  // Only one program can open a device file, but a network printer may accept a second connection
  // while it receives a sheet.
  if (lock.is_unknown() && address.kind == PrinterAddress::Kind::kNetwork) {
    printer.message = "only root and the group lp can see whether a sheet is being sent to it";
    return;
  }
  Printer device(address);
  if (const int error = device.open(kOpenTimeout)) {
    explain_open_error(error, address, queues, printer);
    return;
  }
  printer.report = ask_report(device);
  printer.state = state_of(printer.report);
  printer.message = message_for(printer.report);
}

// The serial number of a printer that does not report it now: a part of its address, or the one
// that the backend noted during the last job of its queue. Empty if unknown.
std::string known_serial_number(const std::optional<PrinterAddress>& address, const Queue* queue) {
  if (address && address->kind == PrinterAddress::Kind::kSerial) {
    return address->name;
  }
  const bool has_note = queue != nullptr && queue->device_uri.starts_with("k905:");
  return has_note ? parse_note(queue->note).serial_number : "";
}

}  // namespace

const StateNames& names_of(State state) {
  static constexpr StateNames kNames[] = {
      // In the order of State.
      {.text = "ready", .key = "ready", .exit_status = 0},
      {.text = "busy", .key = "busy", .exit_status = 0},
      {.text = "needs attention", .key = "attention", .exit_status = 1},
      {.text = "not reachable", .key = "unreachable", .exit_status = 2},
      {.text = "in use", .key = "held", .exit_status = 3},  // programs read "held" for it
  };
  return kNames[static_cast<std::size_t>(state)];
}

std::string status_text_of(const PrinterReport& report) {
  return report.status_code ? status_text(*report.status_code) : "";
}

std::string explanation_of(const PrinterState& printer) {
  const std::string text = status_text_of(printer.report);
  return text + (text.empty() || printer.message.empty() ? "" : ", ") + printer.message;
}

State state_of(const PrinterReport& report) {
  if (!report.answered) {
    return State::unreachable;
  }
  if (!report.status_code || *report.status_code >= kFirstFault || *report.status_code < 0) {
    return State::attention;
  }
  const bool is_idle = *report.status_code == kIdle || *report.status_code == kStandby;
  return is_idle ? State::ready : State::busy;
}

PrinterState ask_printer(const std::string& name, const std::vector<Queue>& queues) {
  PrinterState printer{.device = name, .message = "", .report = {}};
  const Queue* queue = find_queue(queues, name);
  const std::optional<PrinterAddress> address =
      queue != nullptr ? address_in(queue->device_uri) : parse_printer_name(name);
  const Queue* printing = queue != nullptr && queue->printing ? queue
                          : address                           ? printing_queue(queues, *address)
                                                              : nullptr;
  if (printing != nullptr) {
    use_last_report(*printing, printer);
  } else if (address) {
    ask_unless_in_use(*address, queues, printer);
  } else {
    printer.message = queue != nullptr
                          ? "the device of this queue cannot be queried: " + queue->device_uri
                          : "this is not the name of a printer";
  }
  // Monitors identify a printer by its serial number, also while it cannot be asked.
  if (!printer.report.status_code && printer.report.serial_number.empty()) {
    printer.report.serial_number = known_serial_number(address, queue);
  }
  return printer;
}

std::vector<PrinterState> ask_printers(const std::vector<std::string>& names) {
  const std::vector<Queue> queues = all_queues();
  std::vector<std::string> single;
  for (const std::string& name : names) {
    const Queue* queue = find_queue(queues, name);
    const bool is_class = queue != nullptr && !queue->members.empty();
    for (const std::string& one : is_class ? queue->members : std::vector{name}) {
      if (std::find(single.begin(), single.end(), one) == single.end()) {
        single.push_back(one);
      }
    }
  }
  std::vector<std::future<PrinterState>> asked;
  asked.reserve(single.size());
  for (const std::string& name : single) {
    asked.push_back(
        std::async(std::launch::async, [&name, &queues] { return ask_printer(name, queues); }));
  }
  std::vector<PrinterState> printers;
  printers.reserve(asked.size());
  for (std::future<PrinterState>& one : asked) {
    printers.push_back(one.get());
  }
  return printers;
}

}  // namespace k905
