// The table of questions and the names found in replies.

#include "protocol/questions.h"

#include <array>
#include <cstring>
#include <span>

namespace {

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

// An RV-40 reports its free buffers only after the current page is printed.
constexpr int kFreeBuffersTimeoutRv40Ms = 12000;

constexpr int kReservedPrints = 50;

// If a reply contains several names, the first one in the table is used, so the order matters.
constexpr auto kModelNames =
    std::to_array<const char*>({"RV-40W", "RV-40", "RV", "RT", "RS-30", "K905"});
constexpr auto kMediaNames =
    std::to_array<const char*>({"4x4", "4x3", "4x6", "4x8", "4.5x4.5", "4.5x6", "4.5x8", "5x3.5",
                                "5x7", "5x5", "6x4", "6x6", "6x8", "6x9"});

const char* first_found(std::span<const char* const> candidates, const char* text) {
  for (const char* candidate : candidates) {
    if (std::strstr(text, candidate) != nullptr) {
      return candidate;
    }
  }
  return "";
}

}  // namespace

const Question& question(QuestionId id) { return kQuestions[static_cast<std::size_t>(id)]; }

bool is_rv40(const char* model) { return std::strstr(model, "RV-40") != nullptr; }

int reply_timeout_ms(QuestionId id, const char* model) {
  return id == QuestionId::kFreeBuffers && is_rv40(model) ? kFreeBuffersTimeoutRv40Ms
                                                          : question(id).timeout_ms;
}

bool is_answered_by(QuestionId id, const char* model) {
  return id != QuestionId::kHalfSizeMedia || is_rv40(model);
}

int reserved_prints(const char* model) { return is_rv40(model) ? 0 : kReservedPrints; }

const char* find_model(const char* firmware_reply) {
  return first_found(kModelNames, firmware_reply);
}

const char* find_media(const char* media_reply) { return first_found(kMediaNames, media_reply); }
