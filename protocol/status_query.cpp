#include "protocol/status_query.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "diag/log.h"
#include "protocol/questions.h"
#include "protocol/status_texts.h"
#include "protocol/transport.h"

namespace {

constexpr char kReportVersion[] = "v1.0";

struct Answer {
  char text[kLongestReply] = "";
  int count = -1;  // bytes received, before trimming; -1 if the exchange failed or was not made
  int number = -1;

  [[nodiscard]] bool received(std::size_t bytes) const {
    return count >= 0 && static_cast<std::size_t>(count) >= bytes;
  }
};

struct PrinterInfo {
  std::array<Answer, kQuestionCount> answers;  // by QuestionId
  const char* model = "";
  const char* media = "";
  const char* resolution = "";

  [[nodiscard]] Answer& answer(QuestionId id) { return answers[static_cast<std::size_t>(id)]; }
  [[nodiscard]] const Answer& answer(QuestionId id) const {
    return answers[static_cast<std::size_t>(id)];
  }
};

bool contains(const char* text, const char* part) { return std::strstr(text, part) != nullptr; }

constexpr std::size_t kMaxDigits = 7;

int read_counter(const Answer& answer, const CounterField& counter) {
  if (!answer.received(counter.minimum_size()) ||
      std::strlen(answer.text) < counter.minimum_size()) {
    return -1;
  }
  char digits[kMaxDigits + 1] = "";
  std::memcpy(digits, answer.text + counter.first, counter.digits);
  return static_cast<int>(std::strtol(digits, nullptr, 10));
}

Answer ask(int device, const Question& asked, int timeout_ms) {
  Answer answer;
  answer.count = k905_write_read_cmd32(device, asked.group, asked.name, answer.text,
                                       asked.reply_size, timeout_ms);
  if (asked.counter.digits > 0) {
    answer.number = read_counter(answer, asked.counter);
  }
  return answer;
}

void detect_model(PrinterInfo& info) {
  const Answer& firmware = info.answer(QuestionId::kFirmware);
  if (firmware.received(kShortestFirmwareReply)) {
    info.model = find_model(firmware.text);
  }
}

void detect_media(PrinterInfo& info) {
  const Answer& media = info.answer(QuestionId::kMedia);
  if (media.received(kShortestMediaReply)) {
    info.media = find_media(media.text);
  }
}

// Deliberate: the vertical reply is ignored; the horizontal one alone decides between the two
// modes.
void detect_resolution(PrinterInfo& info) {
  const char* horizontal = info.answer(QuestionId::kResolutionH).text;
  if (contains(horizontal, "300")) {
    info.resolution = "300x300";
  } else if (contains(horizontal, "600")) {
    info.resolution = "300x600";
  }
}

// Deliberate: the reserve is subtracted whenever enough bytes were received, even from the -1 of a
// reply that is too short only after trimming (the result is -51).
void subtract_reserve(PrinterInfo& info) {
  Answer& remaining = info.answer(QuestionId::kRemainingMedia);
  if (remaining.received(question(QuestionId::kRemainingMedia).counter.minimum_size())) {
    remaining.number -= reserved_prints(info.model);
  }
}

PrinterInfo ask_all(int device) {
  PrinterInfo info;
  for (std::size_t index = 0; index < kQuestionCount; ++index) {
    const auto id = static_cast<QuestionId>(index);
    if (!is_answered_by(id, info.model)) {
      continue;
    }
    info.answers[index] = ask(device, question(id), reply_timeout_ms(id, info.model));
    if (id == QuestionId::kFirmware) {
      detect_model(info);
    }
  }
  detect_media(info);
  detect_resolution(info);
  subtract_reserve(info);
  return info;
}

// Four replies of 127 characters, ten of 63 and the text around them are well below this.
constexpr std::size_t kReportCapacity = 4096;

void write_report(const PrinterInfo& info) {
  using enum QuestionId;
  const auto text = [&](QuestionId id) { return info.answer(id).text; };
  const auto number = [&](QuestionId id) { return info.answer(id).number; };
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
  const PrinterInfo info = ask_all(device);
  close(device);
  write_report(info);
  return 0;
}
