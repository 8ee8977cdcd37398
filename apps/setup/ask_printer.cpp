#include "apps/setup/ask_printer.h"

#include <cerrno>
#include <chrono>
#include <thread>

#include "apps/backend/printer_lock.h"
#include "device/printer.h"

namespace k905 {

namespace {

using Clock = std::chrono::steady_clock;

// A print server answers at once or not at all; one that is starting gets this time.
constexpr std::chrono::milliseconds kConnectLimit{3000};
constexpr std::chrono::milliseconds kRetryPause{100};

int open_in_time(Printer& printer) {
  const bool is_network = printer.address().kind == PrinterAddress::Kind::kNetwork;
  const Clock::time_point until = Clock::now() + kConnectLimit;
  int error = printer.open(kConnectLimit);
  while (is_network && error == ECONNREFUSED && Clock::now() < until) {
    std::this_thread::sleep_for(kRetryPause);
    error = printer.open(kConnectLimit);
  }
  return error;
}

PrinterAnswer status_of(Printer& printer) {
  const Reply status = printer.ask(QuestionId::kStatus);
  if (status.error != 0) {
    return {.answer = Answer::no_reply};
  }
  const Reply left = printer.ask(QuestionId::kRemainingMedia);
  return {.answer = Answer::replied,
          .status = status.number,
          .prints_left = left.error == 0 ? left.number : -1};
}

}  // namespace

PrinterAnswer ask_printer(const PrinterAddress& address) {
  const backend::PrinterLock lock(address);
  if (lock.is_held_elsewhere()) {
    return {.answer = Answer::in_use};
  }
  Printer printer(address);
  if (const int error = open_in_time(printer)) {
    return {.answer = error == EBUSY ? Answer::in_use : Answer::unreachable, .error = error};
  }
  return lock.is_unknown() ? PrinterAnswer{.answer = Answer::not_asked} : status_of(printer);
}

int try_to_open(const PrinterAddress& address) {
  Printer printer(address);
  return open_in_time(printer);
}

}  // namespace k905
