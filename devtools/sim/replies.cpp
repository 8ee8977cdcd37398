#include "devtools/sim/replies.h"

#include <algorithm>
#include <array>

namespace {

// The reserve that every model except RV-40 and RV-40W adds to its count.
constexpr int kReservedPrints = 50;

std::string padded(int number, std::size_t digits) {
  const std::string text = std::to_string(number);
  return std::string(digits - std::min(digits, text.size()), '0') + text;
}

using Answer = std::string (*)(const PrinterState& state);

struct Question {
  const char* group;
  const char* name;
  Answer answer;
};

std::string remaining_media(const PrinterState& state) {
  return "MQT " + padded(state.remaining + (is_rv40(state) ? 0 : kReservedPrints), 4);
}

// Drivers distinguish the two modes by this reply only.
std::string resolution_h(const PrinterState& state) {
  return state.resolution == "300x600" ? "0600" : "0300";
}

// Numbers are at the positions where drivers read them.
constexpr auto kQuestions = std::to_array<Question>({
    {"INFO", "FVER", [](const PrinterState& s) { return s.model + " " + s.firmware; }},
    {"INFO", "MEDIA", [](const PrinterState& s) { return s.media; }},
    {"INFO", "RESOLUTION_H", resolution_h},
    {"INFO", "RESOLUTION_V", [](const PrinterState&) -> std::string { return "0300"; }},
    {"INFO", "FREE_PBUFFER",
     [](const PrinterState& s) { return "FBP" + padded(s.free_buffers, 2); }},
    {"INFO", "MQTY_DEFAULT", [](const PrinterState& s) { return "MQD " + padded(s.initial, 4); }},
    {"INFO", "MQTY", remaining_media},
    {"INFO", "SERIAL_NUMBER", [](const PrinterState& s) { return s.serial; }},
    {"MNT_RD", "COUNTER_LIFE", [](const PrinterState& s) { return "CL" + padded(s.life, 7); }},
    {"MNT_RD", "COUNTER_MATTE", [](const PrinterState& s) { return "CMT " + padded(s.matte, 7); }},
    {"INFO", "RQTY", [](const PrinterState& s) { return "RQT " + padded(s.half_size, 4); }},
    {"TBL_RD", "Version", [](const PrinterState& s) { return s.color_version; }},
    {"MNT_RD", "CTRLD_CHKSUM", [](const PrinterState& s) { return s.color_checksum; }},
});

}  // namespace

bool is_question_group(const std::string& group) {
  return group == "STATUS" || group == "INFO" || group == "MNT_RD" || group == "TBL_RD";
}

std::optional<std::string> reply_to(const PrinterState& state, int status, const std::string& group,
                                    const std::string& name) {
  if (group == "STATUS") {
    return name.empty() ? std::optional(padded(status, 5)) : std::nullopt;
  }
  if (name == "RQTY" && !is_rv40(state)) {
    return std::nullopt;
  }
  for (const Question& question : kQuestions) {
    if (group == question.group && name == question.name) {
      return question.answer(state);
    }
  }
  return std::nullopt;
}
