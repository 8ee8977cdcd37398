#include "apps/status/printer_state.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "apps/base/descriptor.h"
#include "apps/base/find_filter.h"
#include "apps/base/spawn.h"
#include "apps/status/print_system.h"
#include "device/printer.h"
#include "protocol/status_texts.h"

namespace {

// From here on the printer does not help itself.
constexpr int kFirstFault = 1000;
constexpr int kIdling = 0;
constexpr int kStandby = 900;

struct Query {
  int status = -1;
  std::string report;
  std::string log;
};

// Reads both descriptors to their ends.
void read_both(int report, int log, Query& query) {
  std::array<pollfd, 2> ready{{{report, POLLIN, 0}, {log, POLLIN, 0}}};
  const std::array<std::string*, 2> texts{&query.report, &query.log};
  while (ready[0].fd >= 0 || ready[1].fd >= 0) {
    if (poll(ready.data(), ready.size(), -1) < 0 && errno != EINTR) {
      return;
    }
    for (std::size_t i = 0; i < ready.size(); ++i) {
      if (ready[i].fd < 0 || ready[i].revents == 0) {
        continue;
      }
      std::array<char, 4096> bytes;
      const ssize_t got = read(ready[i].fd, bytes.data(), bytes.size());
      if (got > 0) {
        texts[i]->append(bytes.data(), static_cast<std::size_t>(got));
      } else if (got == 0 || errno != EINTR) {
        ready[i].fd = -1;
      }
    }
  }
}

// False with errno set when the filter could not be started.
bool run_query(const std::string& filter, const std::string& device, Query& query) {
  k905::Pipe report;
  k905::Pipe log;
  if (!report.open() || !log.open()) {
    return false;
  }
  k905::SpawnSetup setup;
  setup.program = filter;
  setup.arguments = {"rastertok905", "--info", device};
  // With any name there the log comes to us and not into a file.
  setup.environment = {{"PPD", "/dev/null"}};
  setup.output = report.write_end.get();
  setup.error = log.write_end.get();
  k905::Child child = k905::spawn(setup);
  if (!child) {
    return false;
  }
  report.write_end.reset();
  log.write_end.reset();
  read_both(report.read_end.get(), log.read_end.get(), query);
  query.status = child.wait().code();
  return true;
}

// A printer is a character device, a terminal or a socket. Anything else that is there, a file for
// instance, would have the questions written into it.
bool takes_questions_for_contents(const std::string& device) {
  struct stat status = {};
  return stat(device.c_str(), &status) == 0 && !S_ISCHR(status.st_mode) &&
         !S_ISSOCK(status.st_mode);
}

// Why the device could not be opened: what stands behind the log's last "failed: ".
std::string reason_in(const std::string& log) {
  constexpr std::string_view mark = "') failed: ";
  const std::size_t at = log.rfind(mark);
  if (at == std::string::npos) {
    return "";
  }
  const std::size_t begin = at + mark.size();
  return log.substr(begin, log.find('\n', begin) - begin);
}

bool is_one_of(const std::string& reason, std::initializer_list<int> errors) {
  for (const int error : errors) {
    if (reason == std::strerror(error)) {
      return true;
    }
  }
  return false;
}

std::string printing_on(const std::string& queue) {
  return "the print system is printing on it (queue " + queue + ")";
}

void explain_failure(const Query& query, const std::vector<BusyQueue>& queues,
                     PrinterState& printer) {
  const std::string reason = reason_in(query.log);
  const bool busy = is_one_of(reason, {EBUSY});
  const bool away = is_one_of(reason, {ENOENT, ENODEV, ENXIO});
  const std::string queue = queue_on_usb(queues);
  if ((busy || away) && !queue.empty()) {
    printer.state = State::held;
    printer.message = printing_on(queue);
  } else if (busy) {
    printer.state = State::held;
    printer.message = "another program has it open";
  } else {
    printer.message = !reason.empty() ? reason
                      : query.status == 0
                          ? "the filter's report cannot be read"
                          : "the filter ended with status " + std::to_string(query.status);
  }
}

// The filter's report has 0, which is idling, for a status reply without a number as well. Only the
// reply itself tells the two apart, so a printer that seems idle is asked again.
void confirm_idling(const std::string& device, PrinterState& printer) {
  k905::Printer asked({.kind = k905::PrinterAddress::Kind::kPath, .name = device, .port = ""});
  k905::Reply reply;
  reply.error = asked.open(k905::Printer::Milliseconds(0));
  if (reply.error == 0) {
    reply = asked.ask(QuestionId::kStatus);
  }
  if (reply.error == 0) {
    printer.report.status_code = reply.number;
    printer.report.status_text = status_text(reply.number);
    return;
  }
  printer.report.status_code.reset();
  printer.report.status_text.clear();
  printer.message = reply.error == EPROTO
                        ? std::string("the printer's status reply is not a number")
                        : std::string("its status cannot be read: ") + std::strerror(reply.error);
}

// Why, where nothing else has said it and the status text does not.
void explain_state(PrinterState& printer) {
  if (!printer.message.empty()) {
    return;
  }
  if (!printer.report.answered) {
    printer.message = "nobody answers";
  } else if (!printer.report.status_code) {
    printer.message = "the printer does not tell its status";
  } else if (printer.report.status_text.empty()) {
    printer.message = "the printer tells a status that is not known";
  }
}

}  // namespace

const StateNames& names_of(State state) {
  static constexpr StateNames kNames[] = {
      // In the order of State.
      {.words = "ready", .key = "ready", .exit_status = 0},
      {.words = "busy", .key = "busy", .exit_status = 0},
      {.words = "needs a person", .key = "attention", .exit_status = 1},
      {.words = "not reachable", .key = "unreachable", .exit_status = 2},
      {.words = "in use", .key = "held", .exit_status = 3},
  };
  return kNames[static_cast<std::size_t>(state)];
}

State state_of(const PrinterReport& report) {
  if (!report.answered) {
    return State::unreachable;
  }
  if (!report.status_code || *report.status_code >= kFirstFault || *report.status_code < 0) {
    return State::attention;
  }
  const bool waits = *report.status_code == kIdling || *report.status_code == kStandby;
  return waits ? State::ready : State::busy;
}

PrinterState ask_printer(const std::string& device) {
  PrinterState printer;
  printer.device = device;
  if (takes_questions_for_contents(device)) {
    printer.message = "this is no device; nothing was written to it";
    return printer;
  }
  // Questions in the middle of a job would end up in its pictures.
  const std::vector<BusyQueue> queues = busy_queues();
  if (const std::string queue = queue_on_device(queues, device); !queue.empty()) {
    printer.state = State::held;
    printer.message = printing_on(queue);
    return printer;
  }
  const std::string filter = find_filter();
  Query query;
  if (filter.empty() || !run_query(filter, device, query)) {
    printer.message = filter.empty() ? "the filter rastertok905 is nowhere to be found"
                                     : filter + ": " + std::strerror(errno);
    return printer;
  }
  const auto report = parse_report(query.report);
  if (query.status != 0 || !report) {
    explain_failure(query, queues, printer);
    return printer;
  }
  printer.report = *report;
  if (report->status_code == kIdling) {
    confirm_idling(device, printer);
  }
  printer.state = state_of(printer.report);
  explain_state(printer);
  return printer;
}
