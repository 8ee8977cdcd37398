// The questions that the printer answers and how its replies are read. Nothing here does I/O or
// writes to the log: the status query and the device library send the questions in their own ways.
#pragma once

#include <cstddef>

// In the order of the status query's report; the model must be known before some are asked.
enum class QuestionId : std::size_t {
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
};
inline constexpr std::size_t kQuestionCount = 14;

// The position of the number in a trimmed reply. `digits` is 0 for a reply without a number.
struct CounterField {
  std::size_t first = 0;
  std::size_t digits = 0;

  // Size that a reply must have, as received and trimmed, for its number to be read.
  [[nodiscard]] constexpr std::size_t minimum_size() const { return first + digits; }
};

struct Question {
  const char* group;
  const char* name;        // null when the group alone is the question
  std::size_t reply_size;  // of the buffer, with its terminator
  int timeout_ms;          // of each wait for bytes
  CounterField counter;
};

inline constexpr std::size_t kLongestReply = 128;

[[nodiscard]] const Question& question(QuestionId id);

// An RV-40 answers some questions differently. `model` is a name that find_model returned.
[[nodiscard]] bool is_rv40(const char* model);

// How long to wait for the reply of this model.
[[nodiscard]] int reply_timeout_ms(QuestionId id, const char* model);

// Only the RV-40 counts half-size media.
[[nodiscard]] bool is_answered_by(QuestionId id, const char* model);

// The last prints of a roll, which this model counts but does not guarantee.
[[nodiscard]] int reserved_prints(const char* model);

// The first known model name (media name) that occurs anywhere in the reply, "" if none does.
// Constant text.
[[nodiscard]] const char* find_model(const char* firmware_reply);
[[nodiscard]] const char* find_media(const char* media_reply);
inline constexpr std::size_t kShortestFirmwareReply = 5;
inline constexpr std::size_t kShortestMediaReply = 3;
