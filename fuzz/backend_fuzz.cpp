// The backend with a stream of sheets and a printer that answers late, wrongly or not at all,
// accepts bytes in pieces, and loses its connection or its power at any moment. The job is stopped
// or its process killed at any moment, and then it is printed again, before or after another job.
// The target has its own clock, so that waiting takes no time.
//
// Invariants: the printed sheets are the first ones of the stream, in order, each once; none
// at or after an invalid one; and no question is sent inside a sheet. A completed job prints
// nothing when it is started again.
#include <fcntl.h>
#include <poll.h>
#include <sys/types.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/backend/job_runner.h"
#include "apps/base/anonymous_file.h"
#include "apps/wire/printer_stream.h"
#include "devtools/sim/dialogue.h"
#include "fuzz/expect.h"
#include "fuzz/input.h"
#include "protocol/questions.h"
#include "tests/support/wire_stream.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr char kPath[] = "/dev/null";
constexpr int kBuffers = 2;
// Every call advances the clock, so that every wait ends.
constexpr nanoseconds kCallTime{10000};

constexpr nanoseconds kNever = nanoseconds::max();

// Thrown by a call of the code under test to the system: the process ends there. All that still
// happens is that its descriptors are closed.
struct Killed {};

// What happens in a call, as the input selects it; kNone after the end of the input.
enum class Event { kNone, kSilence, kGarbage, kCutReply, kFault, kPart, kBusy, kLost, kPowerCycle };

class FuzzedPrinter {
 public:
  explicit FuzzedPrinter(Input& input) : input_(input) {}

  int connect() {
    advance(kCallTime);
    if (input_.byte() >= 200) {
      errno = ENODEV;
      return -1;
    }
    disconnected_ = false;
    replies_.clear();
    dialogue_ = std::make_unique<Dialogue>(Dialogue::Handlers{
        [this](const std::string& group, const std::string& name) { answer(group, name); },
        [this](k905::Sheet&& sheet) { accept(sheet); },
        [this](const k905::StreamError&) {
          expect(hanging_up_, "complete sheets and questions are sent");
        }});
    return 0;
  }

  void hang_up() {
    hanging_up_ = true;
    if (dialogue_) {
      dialogue_->end();
      dialogue_.reset();
    }
    hanging_up_ = false;
  }

  ssize_t write(const std::uint8_t* bytes, std::size_t count) {
    advance(kCallTime);
    const Event event = event_of_write();
    if (event == Event::kLost || event == Event::kPowerCycle) {
      lose(event);
    }
    if (disconnected_ || event == Event::kBusy) {
      errno = disconnected_ ? EIO : EAGAIN;
      return -1;
    }
    const std::size_t taken =
        event == Event::kPart ? std::min<std::size_t>(count, 1 + input_.below(3000)) : count;
    dialogue_->receive(bytes, taken);
    return static_cast<ssize_t>(taken);
  }

  ssize_t read(void* bytes, std::size_t count) {
    advance(kCallTime);
    if (disconnected_ || replies_.empty()) {
      errno = disconnected_ ? EIO : EAGAIN;
      return -1;
    }
    const std::size_t taken = std::min(count, replies_.size());
    std::memcpy(bytes, replies_.data(), taken);
    replies_.erase(0, taken);
    return static_cast<ssize_t>(taken);
  }

  int wait(short events, int timeout_ms) {
    if (disconnected_ || events == POLLOUT || !replies_.empty()) {
      advance(kCallTime);
      return 1;
    }
    advance(milliseconds(timeout_ms));
    return 0;
  }

  void advance(nanoseconds time) {
    now_ += time;
    if (pending_ && now_ >= printed_at_) {
      finish_sheet();
    }
    if (now_ >= kill_at_) {
      kill_at_ = kNever;
      throw Killed{};
    }
  }

  void kill_at(nanoseconds time) { kill_at_ = time; }

  [[nodiscard]] nanoseconds now() const { return now_; }
  [[nodiscard]] const std::vector<int>& printed() const { return printed_; }
  [[nodiscard]] bool has_printed(int number) const {
    return std::find(printed_.begin(), printed_.end(), number) != printed_.end();
  }
  [[nodiscard]] bool has_given_a_wrong_serial() const { return serial_is_wrong_; }

 private:
  Event event_of_write() {
    const std::uint8_t byte = input_.byte();
    return byte < 200   ? Event::kNone
           : byte < 225 ? Event::kPart
           : byte < 240 ? Event::kBusy
           : byte < 248 ? Event::kLost
                        : Event::kPowerCycle;
  }

  Event event_of_question() {
    const std::uint8_t byte = input_.byte();
    constexpr Event kEvents[] = {Event::kSilence, Event::kGarbage, Event::kCutReply,
                                 Event::kFault,   Event::kLost,    Event::kPowerCycle};
    return byte < 208 ? Event::kNone : kEvents[byte % 6];
  }

  void lose(Event event) {
    disconnected_ = true;
    if (event == Event::kPowerCycle) {
      pending_ = false;
      fault_left_ = 0;
    }
  }

  void answer(const std::string& group, const std::string& name) {
    const Event event = event_of_question();
    std::string reply = reply_to(group, name);
    if (name == "SERIAL_NUMBER") {
      silent_serials_ = event == Event::kSilence ? silent_serials_ + 1 : 0;
      // Then the backend cannot distinguish the printer from another one.
      serial_is_wrong_ = serial_is_wrong_ || event == Event::kGarbage ||
                         event == Event::kCutReply || silent_serials_ > 1;
    }
    switch (event) {
      case Event::kLost:
      case Event::kPowerCycle:
        lose(event);
        return;
      case Event::kSilence:
        return;
      case Event::kNone:
      case Event::kPart:
      case Event::kBusy:
        break;
      case Event::kGarbage:
        reply = "\xff?" + input_.until('\n').substr(0, 200);
        // Real printers do not send numbers in wrong places.
        std::replace_if(
            reply.begin(), reply.end(), [](char c) { return c >= '0' && c <= '9'; }, 'x');
        break;
      case Event::kCutReply:
        reply.resize(reply.size() / 2);
        break;
      case Event::kFault: {
        constexpr int kCodes[] = {500, 1000, 1100, 1300, 2000, 4711};
        fault_ = kCodes[input_.byte() % 6];
        fault_left_ = input_.byte() % 20;
        break;
      }
    }
    replies_ += reply + "\r\n";
  }

  std::string reply_to(const std::string& group, const std::string& name) {
    if (group == "STATUS") {
      if (fault_left_ > 0) {
        --fault_left_;
        return wire_digits(static_cast<std::uint64_t>(fault_)).substr(3);
      }
      return pending_ ? "00001" : "00000";
    }
    if (name == "COUNTER_LIFE") {
      return "CL" + wire_digits(printed_.size()).substr(1);
    }
    return name == "FREE_PBUFFER"    ? "FBP0" + std::to_string(kBuffers - (pending_ ? 1 : 0))
           : name == "MQTY_DEFAULT"  ? "MQD 0400"
           : name == "MQTY"          ? "MQT 0450"
           : name == "SERIAL_NUMBER" ? "FUZZ1"
           : name == "FVER"          ? "K905 1.00"
                                     : "6x8";
  }

  void accept(const k905::Sheet& sheet) {
    expect(!pending_, "a sheet is sent only after the previous one was printed");
    pending_ = true;
    pending_number_ = sheet.plane[0][0];
    printed_at_ = now_ + milliseconds(100) * input_.byte();
    advance(nanoseconds(0));
  }

  void finish_sheet() {
    pending_ = false;
    printed_.push_back(pending_number_);
  }

  Input& input_;
  std::unique_ptr<Dialogue> dialogue_;
  std::string replies_;
  bool disconnected_ = false;
  bool hanging_up_ = false;
  bool serial_is_wrong_ = false;
  int silent_serials_ = 0;  // consecutive
  int fault_ = 0;
  int fault_left_ = 0;
  bool pending_ = false;
  int pending_number_ = 0;
  nanoseconds printed_at_{0};
  nanoseconds now_{0};
  nanoseconds kill_at_ = kNever;
  std::vector<int> printed_;
};

// The wrapped system calls act on this printer while the code under test runs.
FuzzedPrinter* printer = nullptr;
int printer_descriptor = -1;
nanoseconds stop_at = kNever;

bool is_the_printer(int descriptor) {
  return printer != nullptr && descriptor == printer_descriptor;
}

// The backend's poll for a stop request (the first two descriptors), the stream (the third) or a
// time.
int wait_for_request(pollfd* waits, nfds_t count, int timeout_ms) {
  for (nfds_t i = 0; i < count; ++i) {
    waits[i].revents = 0;
  }
  const bool readable = count > 2 && waits[2].fd >= 0;
  printer->advance(readable || timeout_ms == 0 ? kCallTime : nanoseconds(milliseconds(timeout_ms)));
  if (readable) {
    waits[2].revents = POLLIN;
  }
  waits[0].revents = printer->now() >= stop_at ? POLLHUP : 0;
  return waits[0].revents != 0 || readable ? 1 : 0;
}

std::string stream_of(Input& input) {
  std::string stream;
  const int sheets = 1 + input.byte() % 4;
  for (int number = 1; number <= sheets; ++number) {
    const auto pixel = static_cast<std::uint8_t>(number);
    const std::vector<std::uint8_t> plane(6, pixel);
    stream += wire_sheet({.plane = {plane, plane, plane}, .matte = input.byte() % 2 != 0});
  }
  switch (input.byte() % 4) {
    case 0:
      stream[input.below(stream.size())] = static_cast<char>(input.byte());
      break;
    case 1:
      stream.resize(input.below(stream.size()));
      break;
    default:
      break;
  }
  return stream;
}

std::vector<int> numbers_in(const k905::ParsedStream& parsed) {
  std::vector<int> numbers;
  for (const k905::Sheet& sheet : parsed.sheets) {
    numbers.push_back(sheet.plane[0][0]);
  }
  return numbers;
}

// The folder of the records, in memory where there is such a file system.
class Folder {
 public:
  Folder() {
    std::string name = access("/dev/shm", W_OK) == 0 ? "/dev/shm/" : "/tmp/";
    name += "k905_fuzz_XXXXXX";
    path_ = mkdtemp(name.data());
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  void clear() const {
    for (const auto& file : std::filesystem::directory_iterator(path_)) {
      std::filesystem::remove(file);
    }
  }
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};

constexpr int kJob = 7;
constexpr int kOtherJob = 8;
constexpr int kOtherSheet = 99;

// Returns the exit status of the process, or nothing if it was killed.
std::optional<int> run_job(FuzzedPrinter& fuzzed, const std::string& folder, int job,
                           const std::string& stream) {
  using namespace k905;
  const Descriptor input(anonymous_file_with("stream", stream));
  backend::StopRequest stop(open("/dev/zero", O_RDONLY | O_CLOEXEC));
  backend::RecordFolder records;
  expect(records.open(folder, -1, -1) == 0, "the folder of the records");
  const PrinterAddress device{.kind = PrinterAddress::Kind::kPath, .name = kPath, .port = ""};
  backend::SheetSource source(input.get(), 1);
  printer = &fuzzed;
  std::optional<int> status;
  try {
    backend::JobRunner runner({.number = job,
                               .identity = "fuzz " + std::to_string(job),
                               .ended = 0,
                               .printer = {.address = device}},
                              source, records, stop, nullptr);
    status = runner.run();
  } catch (const Killed&) {
  }
  printer = nullptr;
  expect(status != backend::kTryAgain || fuzzed.now() >= stop_at,
         "only a stop request ends a job early");
  return status;
}

// Schedules a stop request or a kill at a later time; returns false if the input has none.
bool schedule_interruption(Input& input, FuzzedPrinter& fuzzed) {
  const std::uint8_t byte = input.byte();
  if (byte % 2 == 0) {
    return false;
  }
  const nanoseconds time = fuzzed.now() + milliseconds(20) * input.below(10000);
  if (byte % 4 == 1) {
    stop_at = time;
  } else {
    fuzzed.kill_at(time);
  }
  return true;
}

constexpr int kMaxInterruptions = 4;

// Returns the exit status of the job after all interruptions.
int run_to_the_end(Input& input, FuzzedPrinter& fuzzed, const std::string& folder,
                   const std::string& stream) {
  for (int i = 0; i < kMaxInterruptions && schedule_interruption(input, fuzzed); ++i) {
    const std::optional<int> status = run_job(fuzzed, folder, kJob, stream);
    stop_at = kNever;
    fuzzed.kill_at(kNever);
    if (status && *status != k905::backend::kTryAgain) {
      return *status;
    }
    if (input.byte() % 2 != 0 && !fuzzed.has_printed(kOtherSheet)) {
      const std::vector<std::uint8_t> plane(6, kOtherSheet);
      const auto other = run_job(fuzzed, folder, kOtherJob,
                                 wire_sheet({.plane = {plane, plane, plane}, .matte = false}));
      expect(fuzzed.has_given_a_wrong_serial() ||
                 (other == k905::backend::kDone && fuzzed.has_printed(kOtherSheet)),
             "the other job is printed");
    }
  }
  return *run_job(fuzzed, folder, kJob, stream);
}

}  // namespace

// ---- the system calls of the code under test ----

extern "C" {

int __real_open(const char* path, int flags, ...);
int __real_close(int descriptor);
ssize_t __real_read(int descriptor, void* bytes, std::size_t count);
ssize_t __real_write(int descriptor, const void* bytes, std::size_t count);
int __real_poll(pollfd* descriptors, nfds_t count, int timeout_ms);
int __real_flock(int descriptor, int operation);
int __real_nanosleep(const timespec* time, timespec* left);
std::chrono::steady_clock::time_point __real__ZNSt6chrono3_V212steady_clock3nowEv();

int __wrap_open(const char* path, int flags, ...);
int __wrap_close(int descriptor);
ssize_t __wrap_read(int descriptor, void* bytes, std::size_t count);
ssize_t __wrap___read_chk(int descriptor, void* bytes, std::size_t count, std::size_t size);
ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t count);
int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout_ms);
int __wrap_flock(int descriptor, int operation);
int __wrap_nanosleep(const timespec* time, timespec* left);
std::chrono::steady_clock::time_point __wrap__ZNSt6chrono3_V212steady_clock3nowEv();

int __wrap_open(const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  const bool is_printer = printer != nullptr && std::strcmp(path, kPath) == 0;
  if (is_printer && printer->connect() != 0) {
    return -1;
  }
  const int descriptor = __real_open(path, flags, mode);
  if (is_printer) {
    printer_descriptor = descriptor;
  }
  return descriptor;
}

int __wrap_close(int descriptor) {
  if (is_the_printer(descriptor)) {
    printer->hang_up();
    printer_descriptor = -1;
  }
  return __real_close(descriptor);
}

ssize_t __wrap_read(int descriptor, void* bytes, std::size_t count) {
  return is_the_printer(descriptor) ? printer->read(bytes, count)
                                    : __real_read(descriptor, bytes, count);
}

ssize_t __wrap___read_chk(int descriptor, void* bytes, std::size_t count, std::size_t /*size*/) {
  return __wrap_read(descriptor, bytes, count);
}

ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t count) {
  if (is_the_printer(descriptor)) {
    return printer->write(static_cast<const std::uint8_t*>(bytes), count);
  }
  // Lines for the scheduler.
  const bool is_message = printer != nullptr && descriptor == STDERR_FILENO;
  return is_message ? static_cast<ssize_t>(count) : __real_write(descriptor, bytes, count);
}

int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout_ms) {
  if (printer != nullptr && count > 1) {
    return wait_for_request(descriptors, count, timeout_ms);
  }
  return count == 1 && is_the_printer(descriptors->fd)
             ? printer->wait(descriptors->events, timeout_ms)
             : __real_poll(descriptors, count, timeout_ms);
}

int __wrap_flock(int descriptor, int operation) {
  return is_the_printer(descriptor) ? 0 : __real_flock(descriptor, operation);
}

int __wrap_nanosleep(const timespec* time, timespec* left) {
  if (printer == nullptr) {
    return __real_nanosleep(time, left);
  }
  printer->advance(seconds(time->tv_sec) + nanoseconds(time->tv_nsec));
  return 0;
}

std::chrono::steady_clock::time_point __wrap__ZNSt6chrono3_V212steady_clock3nowEv() {
  return printer == nullptr ? __real__ZNSt6chrono3_V212steady_clock3nowEv()
                            : std::chrono::steady_clock::time_point(printer->now());
}

}  // extern "C"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace k905::backend;
  static const Folder folder;
  folder.clear();
  Input input(data, size);
  const std::string stream = stream_of(input);
  const k905::ParsedStream parsed = k905::parse_printer_stream(
      reinterpret_cast<const std::uint8_t*>(stream.data()), stream.size());
  const std::vector<int> valid = numbers_in(parsed);

  FuzzedPrinter fuzzed(input);
  const int status = run_to_the_end(input, fuzzed, folder.path(), stream);

  std::vector<int> printed = fuzzed.printed();
  const auto others = std::erase(printed, kOtherSheet);
  expect(others <= 1, "the sheet of the other job is printed once");
  // If the printer had a wrong serial number when it printed the sheet of the other job, its life
  // counter does not show which sheets of this job were printed.
  if (others == 0 || !fuzzed.has_given_a_wrong_serial()) {
    expect(
        printed.size() <= valid.size() && std::equal(printed.begin(), printed.end(), valid.begin()),
        "the first sheets are printed in order, each once");
  }
  expect(
      std::adjacent_find(printed.begin(), printed.end(), std::greater_equal<>()) == printed.end(),
      "no sheet is printed twice or after a later one");
  expect(status == kDone || status == kHoldJob, "the status is kDone or kHoldJob");
  const bool is_complete = printed == valid || fuzzed.has_given_a_wrong_serial();
  expect(status != kDone || (is_complete && !parsed.error),
         "a completed job has printed all its sheets");
  expect(status != kHoldJob || fuzzed.has_given_a_wrong_serial() || (parsed.error && is_complete),
         "only an invalid stream holds the job, and the sheets before the error are printed");
  if (status == kDone) {
    const std::size_t count = fuzzed.printed().size();
    expect(
        run_job(fuzzed, folder.path(), kJob, stream) == kDone && fuzzed.printed().size() == count,
        "a completed job prints nothing when it is started again");
  }
  return 0;
}
