#include "apps/status/printer_state.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "apps/base/filter_child.h"
#include "apps/status/print_system.h"

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

bool run_query(const std::string& filter, const std::string& device, Query& query) {
  int report[2];
  int log[2];
  if (pipe2(report, O_CLOEXEC) != 0) {
    return false;
  }
  if (pipe2(log, O_CLOEXEC) != 0) {
    close(report[0]);
    close(report[1]);
    return false;
  }
  FilterStart start;
  start.program = filter;
  start.arguments = {"rastertok905", "--info", device};
  // With any name there the log comes to us and not into a file.
  start.environment = {{"PPD", "/dev/null"}};
  start.output = report[1];
  start.log = log[1];
  start.ends_with_us = true;
  const pid_t child = start_filter(start);
  const int reason = errno;
  close(report[1]);
  close(log[1]);
  if (child > 0) {
    read_both(report[0], log[0], query);
    query.status = wait_for_filter(child);
  }
  close(report[0]);
  close(log[0]);
  errno = reason;
  return child > 0;
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
  printer.state = state_of(*report);
  if (!report->answered) {
    printer.message = "nobody answers";
  } else if (!report->status_code) {
    printer.message = "the printer does not tell its status";
  } else if (report->status_text.empty()) {
    printer.message = "the printer tells a status that is not known";
  }
  return printer;
}
