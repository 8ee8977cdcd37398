#include "devtools/sim/printer_state.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace {

constexpr auto kModels = std::to_array<const char*>({"K905", "RV-40", "RV-40W", "RS-30"});
constexpr auto kResolutions = std::to_array<const char*>({"300x300", "300x600"});

// A reply must fit into the 64 bytes of a driver's buffer.
constexpr std::size_t kMaxTextLength = 40;

// Most models report 50 prints more (see replies.cpp); the reply has four digits.
constexpr int kMaxRemaining = 9949;

constexpr auto kFields = std::to_array<StateField>({
    {"model", "K905, RV-40, RV-40W or RS-30", &PrinterState::model, 0, kModels},
    {"firmware", "firmware version", &PrinterState::firmware},
    {"media", "loaded media, for instance 6x4 or 6x8", &PrinterState::media},
    {"resolution", "300x300 or 300x600", &PrinterState::resolution, 0, kResolutions},
    {"serial", "serial number", &PrinterState::serial},
    {"color-version", "version of the color control data", &PrinterState::color_version},
    {"color-checksum", "checksum of the color control data", &PrinterState::color_checksum},
    {"status", "status code; 0: the simulator sets it from its state", &PrinterState::status,
     99999},
    {"free-buffers", "free image buffers", &PrinterState::free_buffers, 99},
    {"initial", "prints on a new roll", &PrinterState::initial, 9999},
    {"remaining", "prints left", &PrinterState::remaining, kMaxRemaining},
    {"life", "prints made so far", &PrinterState::life, 9999999},
    {"matte", "matte prints made so far", &PrinterState::matte, 9999999},
    {"half-size", "half-size media counter (RV-40 and RV-40W)", &PrinterState::half_size, 9999},
});

bool is_printable(char c) { return c >= ' ' && c <= '~'; }

std::optional<std::string> check_text(const StateField& field, const std::string& text) {
  if (!field.choices.empty() &&
      std::find(field.choices.begin(), field.choices.end(), text) == field.choices.end()) {
    return "'" + text + "' is not one of: " + field.help;
  }
  if (text.size() > kMaxTextLength || !std::all_of(text.begin(), text.end(), is_printable)) {
    return "at most " + std::to_string(kMaxTextLength) + " printable characters";
  }
  return std::nullopt;
}

}  // namespace

std::span<const StateField> state_fields() { return kFields; }

const StateField* find_state_field(const std::string& key) {
  const auto* found = std::find_if(kFields.begin(), kFields.end(),
                                   [&](const StateField& f) { return key == f.key; });
  return found == kFields.end() ? nullptr : found;
}

std::optional<std::string> set_field(PrinterState& state, const StateField& field,
                                     const std::string& text) {
  if (const auto* member = std::get_if<std::string PrinterState::*>(&field.member)) {
    std::optional<std::string> problem = check_text(field, text);
    if (!problem) {
      state.** member = text;
    }
    return problem;
  }
  const std::optional<int> number = parse_number(text, 0, field.max);
  if (!number) {
    return "'" + text + "' is not a number from 0 to " + std::to_string(field.max);
  }
  state.*std::get<int PrinterState::*>(field.member) = *number;
  return std::nullopt;
}

std::string field_text(const PrinterState& state, const StateField& field) {
  if (const auto* member = std::get_if<std::string PrinterState::*>(&field.member)) {
    return state.**member;
  }
  return std::to_string(state.*std::get<int PrinterState::*>(field.member));
}

std::optional<int> parse_number(const std::string& text, int min, int max) {
  int number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, failure] = std::from_chars(text.data(), end, number);
  if (failure != std::errc{} || stop != end || number < min || number > max) {
    return std::nullopt;
  }
  return number;
}

bool is_rv40(const PrinterState& state) { return state.model.starts_with("RV-40"); }
