#include "apps/setup/ask_printer.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "apps/backend/job_record.h"
#include "apps/base/descriptor.h"
#include "device/printer.h"

namespace k905 {

namespace {

using Clock = std::chrono::steady_clock;

// A print server answers at once or not at all; one that is just being started is given this time.
constexpr std::chrono::milliseconds kConnectLimit{3000};
constexpr std::chrono::milliseconds kRetryPause{100};

// The lock that the backend holds while it uses the printer.
class SheetLock {
 public:
  explicit SheetLock(const PrinterAddress& address) {
    const char* cache = std::getenv("CUPS_CACHEDIR");
    const std::string folder = std::string(cache == nullptr ? "/var/cache/cups" : cache) + "/k905/";
    file_.reset(open((folder + backend::lock_file_name(to_string(address))).c_str(),
                     O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!file_) {
      is_unknown_ = errno != ENOENT;  // without a file nothing has been printed yet
    } else if (flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
      is_held_elsewhere_ = true;
    }
  }
  [[nodiscard]] bool is_unknown() const { return is_unknown_; }
  [[nodiscard]] bool is_held_elsewhere() const { return is_held_elsewhere_; }

 private:
  Descriptor file_;
  bool is_unknown_ = false;
  bool is_held_elsewhere_ = false;
};

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

// Questions would be written into it.
bool is_plain_file(const PrinterAddress& address) {
  struct stat status {};
  return address.kind == PrinterAddress::Kind::kPath && stat(address.name.c_str(), &status) == 0 &&
         !S_ISCHR(status.st_mode);
}

PrinterAnswer status_of(Printer& printer) {
  const Reply status = printer.ask(QuestionId::kStatus);
  if (status.error != 0) {
    return {.answer = Answer::silent};
  }
  const Reply left = printer.ask(QuestionId::kRemainingMedia);
  return {.answer = Answer::answers,
          .status = status.number,
          .prints_left = left.error == 0 ? left.number : -1};
}

}  // namespace

PrinterAnswer ask_printer(const PrinterAddress& address) {
  const SheetLock lock(address);
  if (lock.is_held_elsewhere()) {
    return {.answer = Answer::in_use};
  }
  if (is_plain_file(address)) {
    return {.answer = Answer::unreachable, .error = ENODEV};
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
