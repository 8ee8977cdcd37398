#include "protocol/status_query.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>

#include "diag/log.h"
#include "protocol/status_texts.h"
#include "protocol/transport.h"

namespace {

constexpr char kReportVersion[] = "v1.0";

// In the order in which they are asked; FVER comes before the questions that depend on the model.
enum QuestionId : std::size_t {
  kStatus,
  kFirmware,
  kMedia,
  kResolutionH,
  kResolutionV,
  kFreeBuffers,
  kInitialMedia,
  kRemainingMedia,
  kSerialNumber,
  kLifeCounter,
  kMatteCounter,
  kHalfSizeMedia,
  kColorTableVersion,
  kColorTableChecksum,
  kQuestionCount
};

// The characters of a trimmed reply that are its number. No digits: a reply without a number.
struct Counter {
  std::size_t first = 0;
  std::size_t digits = 0;

  // What a reply must have, as received and trimmed, for its number to be read.
  [[nodiscard]] constexpr std::size_t minimum() const { return first + digits; }
};

struct Question {
  const char* group;
  const char* name;
  std::size_t reply_size;
  int timeout_ms;
  Counter counter;
};

constexpr std::size_t kLongestReply = 128;

constexpr std::array<Question, kQuestionCount> kQuestions{{
    {"STATUS", nullptr, 128, 3000, {.first = 0, .digits = 5}},
    {"INFO", "FVER", 128, 3000, {}},
    {"INFO", "MEDIA", 128, 3000, {}},
    {"INFO", "RESOLUTION_H", 64, 3000, {}},
    {"INFO", "RESOLUTION_V", 64, 3000, {}},
    {"INFO", "FREE_PBUFFER", 64, 1500, {.first = 3, .digits = 2}},
    {"INFO", "MQTY_DEFAULT", 64, 3000, {.first = 4, .digits = 4}},
    {"INFO", "MQTY", 64, 3000, {.first = 4, .digits = 4}},
    {"INFO", "SERIAL_NUMBER", 128, 3000, {}},
    {"MNT_RD", "COUNTER_LIFE", 64, 3000, {.first = 2, .digits = 7}},
    {"MNT_RD", "COUNTER_MATTE", 64, 3000, {.first = 4, .digits = 7}},
    {"INFO", "RQTY", 64, 3000, {.first = 4, .digits = 4}},
    {"TBL_RD", "Version", 64, 3000, {}},
    {"MNT_RD", "CTRLD_CHKSUM", 64, 3000, {}},
}};

// An RV-40 tells its free buffers only when the page in hand is done.
constexpr int kFreeBuffersTimeoutRv40Ms = 12000;

// The last prints of a roll that the other models count but do not promise.
constexpr int kReservedPrints = 50;

// A reply that holds several names counts as the first of them, so the order matters.
constexpr auto kModelNames =
    std::to_array<const char*>({"RV-40W", "RV-40", "RV", "RT", "RS-30", "K905"});
constexpr auto kMediaNames =
    std::to_array<const char*>({"4x4", "4x3", "4x6", "4x8", "4.5x4.5", "4.5x6", "4.5x8", "5x3.5",
                                "5x7", "5x5", "6x4", "6x6", "6x8", "6x9"});
constexpr std::size_t kShortestFirmwareReply = 5;
constexpr std::size_t kShortestMediaReply = 3;

struct Answer {
  char text[kLongestReply] = "";
  int count = -1;  // bytes received, before trimming; -1 when there was no exchange
  int number = -1;

  [[nodiscard]] bool received(std::size_t bytes) const {
    return count >= 0 && static_cast<std::size_t>(count) >= bytes;
  }
};

struct PrinterInfo {
  std::array<Answer, kQuestionCount> answers;
  const char* model = "";
  const char* media = "";
  const char* resolution = "";
};

bool contains(const char* text, const char* part) { return std::strstr(text, part) != nullptr; }

bool is_rv40(const PrinterInfo& info) { return contains(info.model, "RV-40"); }

const char* first_found(std::span<const char* const> candidates, const char* text) {
  for (const char* candidate : candidates) {
    if (contains(text, candidate)) {
      return candidate;
    }
  }
  return "";
}

constexpr std::size_t kMostDigits = 7;

int read_counter(const Answer& answer, const Counter& counter) {
  if (!answer.received(counter.minimum()) || std::strlen(answer.text) < counter.minimum()) {
    return -1;
  }
  char digits[kMostDigits + 1] = "";
  std::memcpy(digits, answer.text + counter.first, counter.digits);
  return static_cast<int>(std::strtol(digits, nullptr, 10));
}

Answer ask(int device, const Question& question, int timeout_ms) {
  Answer answer;
  answer.count = k905_write_read_cmd32(device, question.group, question.name, answer.text,
                                       question.reply_size, timeout_ms);
  if (question.counter.digits > 0) {
    answer.number = read_counter(answer, question.counter);
  }
  return answer;
}

void detect_model(PrinterInfo& info) {
  const Answer& firmware = info.answers[kFirmware];
  if (firmware.received(kShortestFirmwareReply)) {
    info.model = first_found(kModelNames, firmware.text);
  }
}

void detect_media(PrinterInfo& info) {
  const Answer& media = info.answers[kMedia];
  if (media.received(kShortestMediaReply)) {
    info.media = first_found(kMediaNames, media.text);
  }
}

// Deliberate: the vertical reply has no say; the horizontal one alone tells the two modes apart.
void detect_resolution(PrinterInfo& info) {
  const char* horizontal = info.answers[kResolutionH].text;
  if (contains(horizontal, "300")) {
    info.resolution = "300x300";
  } else if (contains(horizontal, "600")) {
    info.resolution = "300x600";
  }
}

// Deliberate: the reserve is taken off whenever enough bytes came, also off the -1 of a reply that
// is too short only after trimming (-51 then).
void take_off_reserve(PrinterInfo& info) {
  Answer& remaining = info.answers[kRemainingMedia];
  if (remaining.received(kQuestions[kRemainingMedia].counter.minimum()) && !is_rv40(info)) {
    remaining.number -= kReservedPrints;
  }
}

int timeout_for(QuestionId id, const PrinterInfo& info) {
  return id == kFreeBuffers && is_rv40(info) ? kFreeBuffersTimeoutRv40Ms
                                             : kQuestions[id].timeout_ms;
}

// Only the RV-40 counts half-size media.
bool is_asked(QuestionId id, const PrinterInfo& info) {
  return id != kHalfSizeMedia || is_rv40(info);
}

PrinterInfo ask_everything(int device) {
  PrinterInfo info;
  for (std::size_t index = 0; index < kQuestionCount; ++index) {
    const auto id = static_cast<QuestionId>(index);
    if (!is_asked(id, info)) {
      continue;
    }
    info.answers[id] = ask(device, kQuestions[id], timeout_for(id, info));
    if (id == kFirmware) {
      detect_model(info);
    }
  }
  detect_media(info);
  detect_resolution(info);
  take_off_reserve(info);
  return info;
}

// Four replies of 127 characters, ten of 63 and the words around them stay well below this.
constexpr std::size_t kReportCapacity = 4096;

void write_report(const PrinterInfo& info) {
  const auto text = [&](QuestionId id) { return info.answers[id].text; };
  const auto number = [&](QuestionId id) { return info.answers[id].number; };
  char report[kReportCapacity];
  const int length = std::snprintf(
      report, sizeof report,
      "Version = %s\r\n"
      "PrintStatus = %s (%d)\r\n"
      "PrintVersion = %s\r\n"
      "PrintMediaInfo = %s\r\n"
      "PrintHorResolution = %s\r\n"
      "PrintVerResolution = %s\r\n"
      "PrintFreeBuff = %s (%d)\r\n"
      "PrintInitMediaCount = %s (%d)\r\n"
      "PrintRemainQuantity = %s (%d)\r\n"
      "PrintSerialNO = %s\r\n"
      "PrintVolumeLifeCounter = %s (%d)\r\n"
      "PrintHalfSizeMediaCounter = %s (%d)\r\n"
      "PrintVolumeMatteCounter = %s (%d)\r\n"
      "PrintColorControlDataVersion = %s\r\n"
      "PrintColorControlDataChecksum = %s\r\n"
      "ActPrintVersion = %s\r\n"
      "ActPrintMediaInfo = %s\r\n"
      "ActPrintResolution = %s\r\n",
      kReportVersion, status_text(number(kStatus)), number(kStatus), text(kFirmware), text(kMedia),
      text(kResolutionH), text(kResolutionV), text(kFreeBuffers), number(kFreeBuffers),
      text(kInitialMedia), number(kInitialMedia), text(kRemainingMedia), number(kRemainingMedia),
      text(kSerialNumber), text(kLifeCounter), number(kLifeCounter), text(kHalfSizeMedia),
      number(kHalfSizeMedia), text(kMatteCounter), number(kMatteCounter), text(kColorTableVersion),
      text(kColorTableChecksum), info.model, info.media, info.resolution);
  (void)k905_write_all(STDOUT_FILENO, report, static_cast<std::size_t>(length));
}

}  // namespace

int query_printer_info(const char* device_path) {
  log_line("K905-1: query printer info from %s", device_path);
  const int device = open(device_path, O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (device < 0) {
    log_line("K905-1: open('%s') failed: %s", device_path, std::strerror(errno));
    return 1;
  }
  const PrinterInfo info = ask_everything(device);
  close(device);
  write_report(info);
  return 0;
}
