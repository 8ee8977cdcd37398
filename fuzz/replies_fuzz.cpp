// The status query with a printer whose behavior is the input: replies in pieces, silence,
// interruptions, errors in both directions. A simple second implementation computes the expected
// report.
#include <poll.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/expect.h"
#include "fuzz/input.h"
#include "fuzz/log_lines.h"
#include "fuzz/replaced_stream.h"
#include "protocol/status_query.h"
#include "protocol/status_texts.h"

namespace {

constexpr std::size_t kBlockSize = 32;

struct Event {
  enum class Kind {
    kPiece,
    kSilence,
    kEnd,
    kWaitInterrupted,
    kReadInterrupted,
    kWaitFails,
    kReadFails
  };
  Kind kind = Kind::kSilence;
  std::string piece;
};

// The result of a write: a count (less than given, or 0), or an errno.
struct WriteResult {
  std::size_t most = kBlockSize;
  int error = 0;
};

struct Conversation {
  std::deque<Event> events;
  std::deque<WriteResult> writes;
};

// The conversation that the wrapped system calls use (null outside a query), and the bytes of the
// questions.
Conversation* printer = nullptr;
std::string questions;

Event next_event(Conversation& conversation) {
  if (conversation.events.empty()) return {};
  Event event = std::move(conversation.events.front());
  conversation.events.pop_front();
  return event;
}

WriteResult next_write(Conversation& conversation) {
  if (conversation.writes.empty()) return {};
  const WriteResult answer = conversation.writes.front();
  conversation.writes.pop_front();
  return answer;
}

// Returns at most `most` bytes of `piece`, and stores the rest for the next read.
std::string take_piece(Conversation& conversation, std::string piece, std::size_t most) {
  if (piece.size() > most) {
    conversation.events.push_front({Event::Kind::kPiece, piece.substr(most)});
    piece.resize(most);
  }
  return piece;
}

// ---- the conversation that the input describes ----

Event event_of(Input& input) {
  using Kind = Event::Kind;
  const std::uint8_t kind = input.byte();
  if (kind >= 8) {
    // Most inputs consist of a line and its end.
    constexpr const char* kEnds[] = {"\r\n", "\r", "\n", ""};
    return {Kind::kPiece, input.until('\n') + kEnds[kind % 4]};
  }
  if (kind == 0) {
    const std::vector<std::uint8_t> bytes = input.bytes(1 + input.byte());
    return {Kind::kPiece, {bytes.begin(), bytes.end()}};
  }
  constexpr Kind kKinds[] = {Kind::kSilence,         Kind::kEnd,       Kind::kWaitInterrupted,
                             Kind::kReadInterrupted, Kind::kWaitFails, Kind::kReadFails,
                             Kind::kSilence};
  return {kKinds[kind - 1], ""};
}

Conversation conversation_of(Input& input) {
  Conversation conversation;
  for (std::size_t count = input.byte() % 16; count > 0; --count) {
    const std::uint8_t kind = input.byte();
    constexpr int kErrors[] = {EINTR, EIO, EAGAIN, EPIPE};
    conversation.writes.push_back(kind % 2 == 0 ? WriteResult{kind / 2 % (kBlockSize + 1), 0}
                                                : WriteResult{0, kErrors[kind / 2 % 4]});
  }
  while (!input.empty()) {
    Event event = event_of(input);
    if (event.kind == Event::Kind::kPiece && event.piece.empty()) event.kind = Event::Kind::kEnd;
    conversation.events.push_back(event);
  }
  return conversation;
}

// ---- the second implementation ----

struct Reply {
  int count = -1;
  std::string text;

  [[nodiscard]] bool has(std::size_t bytes) const { return count >= static_cast<int>(bytes); }
};

class PlainQuery {
 public:
  explicit PlainQuery(const Conversation& conversation) : conversation_(conversation) {}

  std::string report() {
    const Reply status = ask(128);
    const Reply firmware = ask(128);
    model_ = firmware.has(5)
                 ? first_in(firmware.text, {"RV-40W", "RV-40", "RV", "RT", "RS-30", "K905"})
                 : "";
    const bool rv40 = model_.starts_with("RV-40");
    const Reply media = ask(128);
    const Reply across = ask(64);
    const Reply down = ask(64);
    const Reply buffers = ask(64);
    const Reply initial = ask(64);
    const Reply remaining = ask(64);
    const Reply serial = ask(128);
    const Reply life = ask(64);
    const Reply matte = ask(64);
    const Reply half = rv40 ? ask(64) : Reply{};
    const Reply version = ask(64);
    const Reply checksum = ask(64);
    const int code = number(status, 0, 5);
    const int left = number(remaining, 4, 4) - (remaining.has(8) && !rv40 ? 50 : 0);
    const std::string resolution = across.text.find("300") != std::string::npos   ? "300x300"
                                   : across.text.find("600") != std::string::npos ? "300x600"
                                                                                  : "";
    const std::string paper =
        media.has(3)
            ? first_in(media.text, {"4x4", "4x3", "4x6", "4x8", "4.5x4.5", "4.5x6", "4.5x8",
                                    "5x3.5", "5x7", "5x5", "6x4", "6x6", "6x8", "6x9"})
            : "";
    return "Version = v1.0\r\n" + line("PrintStatus", status_text(code), code) +
           line("PrintVersion", firmware.text) + line("PrintMediaInfo", media.text) +
           line("PrintHorResolution", across.text) + line("PrintVerResolution", down.text) +
           line("PrintFreeBuff", buffers.text, number(buffers, 3, 2)) +
           line("PrintInitMediaCount", initial.text, number(initial, 4, 4)) +
           line("PrintRemainQuantity", remaining.text, left) + line("PrintSerialNO", serial.text) +
           line("PrintVolumeLifeCounter", life.text, number(life, 2, 7)) +
           line("PrintHalfSizeMediaCounter", half.text, number(half, 4, 4)) +
           line("PrintVolumeMatteCounter", matte.text, number(matte, 4, 7)) +
           line("PrintColorControlDataVersion", version.text) +
           line("PrintColorControlDataChecksum", checksum.text) + line("ActPrintVersion", model_) +
           line("ActPrintMediaInfo", paper) + line("ActPrintResolution", resolution);
  }

  [[nodiscard]] const std::string& log() const { return log_; }

 private:
  static std::string line(const std::string& key, const std::string& text) {
    return key + " = " + text + "\r\n";
  }
  static std::string line(const std::string& key, const std::string& text, int number) {
    return line(key, text + " (" + std::to_string(number) + ")");
  }

  static std::string first_in(const std::string& text, std::initializer_list<const char*> names) {
    for (const char* name : names) {
      if (text.find(name) != std::string::npos) return name;
    }
    return "";
  }

  // The number of `digits` characters, starting at `first`, as far as they are digits.
  static int number(const Reply& reply, std::size_t first, std::size_t digits) {
    if (!reply.has(first + digits) || reply.text.size() < first + digits) return -1;
    return static_cast<int>(std::strtol(reply.text.substr(first, digits).c_str(), nullptr, 10));
  }

  bool question_is_written() {
    for (std::size_t done = 0; done < kBlockSize;) {
      const WriteResult answer = next_write(conversation_);
      if (answer.error == EINTR) continue;
      if (answer.error != 0) {
        log_ += std::string("K905-1: write error: ") + std::strerror(answer.error) + "\n";
        return false;
      }
      if (answer.most == 0) {
        log_ += "K905-1: write returned 0\n";
        return true;
      }
      done += std::min(answer.most, kBlockSize - done);
    }
    return true;
  }

  Reply ask(std::size_t size) {
    using Kind = Event::Kind;
    if (!question_is_written()) return {};
    std::string bytes;
    while (bytes.size() < size - 1) {
      Event event = next_event(conversation_);
      if (event.kind == Kind::kWaitFails || event.kind == Kind::kReadFails) return {};
      if (event.kind == Kind::kSilence || event.kind == Kind::kEnd) break;
      if (event.kind != Kind::kPiece) continue;
      bytes += take_piece(conversation_, event.piece, size - 1 - bytes.size());
      if (bytes.back() == '\r' || bytes.back() == '\n') break;
    }
    std::string text = bytes.substr(0, bytes.find('\0'));
    text.erase(text.find_last_not_of("\r\n ") + 1);
    text.erase(0, text.find_first_not_of(' '));
    return {static_cast<int>(bytes.size()), text};
  }

  Conversation conversation_;
  std::string model_;
  std::string log_;
};

bool is_the_printer(int descriptor) { return printer != nullptr && descriptor > STDERR_FILENO; }

}  // namespace

// ---- the system calls, answered by the printer ----

extern "C" {

ssize_t __real_read(int descriptor, void* bytes, std::size_t count);
ssize_t __real_write(int descriptor, const void* bytes, std::size_t count);
int __real_poll(pollfd* descriptors, nfds_t count, int timeout_ms);
ssize_t __wrap_read(int descriptor, void* bytes, std::size_t count);
ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t count);
int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout_ms);

int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout_ms) {
  if (count != 1 || !is_the_printer(descriptors->fd)) {
    return __real_poll(descriptors, count, timeout_ms);
  }
  expect(timeout_ms > 0 && timeout_ms <= 12000, "every wait has a limit above 0");
  if (printer->events.empty()) return 0;
  switch (printer->events.front().kind) {
    case Event::Kind::kSilence:
      printer->events.pop_front();
      return 0;
    case Event::Kind::kWaitInterrupted:
      printer->events.pop_front();
      errno = EINTR;
      return -1;
    case Event::Kind::kWaitFails:
      printer->events.pop_front();
      errno = EIO;
      return -1;
    default:
      return 1;
  }
}

ssize_t __wrap_read(int descriptor, void* bytes, std::size_t count) {
  if (!is_the_printer(descriptor)) return __real_read(descriptor, bytes, count);
  const Event event = next_event(*printer);
  switch (event.kind) {
    case Event::Kind::kPiece: {
      const std::string piece = take_piece(*printer, event.piece, count);
      std::memcpy(bytes, piece.data(), piece.size());
      return static_cast<ssize_t>(piece.size());
    }
    case Event::Kind::kEnd:
      return 0;
    default:
      errno = event.kind == Event::Kind::kReadInterrupted ? EINTR : EIO;
      return -1;
  }
}

ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t count) {
  if (!is_the_printer(descriptor)) return __real_write(descriptor, bytes, count);
  const WriteResult answer = next_write(*printer);
  if (answer.error != 0) {
    errno = answer.error;
    return -1;
  }
  const std::size_t most = std::min(count, answer.most);
  questions.append(static_cast<const char*>(bytes), most);
  return static_cast<ssize_t>(most);
}

}  // extern "C"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  Conversation conversation = conversation_of(input);
  const bool accepts_all_writes = conversation.writes.empty();
  PlainQuery plain(conversation);
  const std::string report = plain.report();

  questions.clear();
  ReplacedStream out(STDOUT_FILENO);
  ReplacedStream err(STDERR_FILENO);
  printer = &conversation;
  const int status = query_printer_info("/dev/null");
  printer = nullptr;
  out.restore();
  err.restore();

  expect(status == 0, "there is a report for any replies");
  expect(out.content() == report, "the report equals that of the plain parser");
  expect(err.content() == "K905-1: query printer info from /dev/null\n" + plain.log(),
         "the log reports the failed writes");
  expect(!accepts_all_writes || questions.size() == 13 * kBlockSize ||
             questions.size() == 14 * kBlockSize,
         "every question is sent, in complete blocks");
  return 0;
}
