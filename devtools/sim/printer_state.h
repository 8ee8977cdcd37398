// The fields of the simulated printer.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <variant>

struct PrinterState {
  std::string model = "K905";
  std::string firmware = "1.00";
  std::string media = "6x8";
  std::string resolution = "300x300";
  std::string serial = "SIM00000001";
  std::string color_version = "1.00";
  std::string color_checksum = "A5C3";
  int status = 0;  // 0: determined by the simulator
  int free_buffers = 2;
  int initial = 400;    // prints on a new roll
  int remaining = 400;  // prints left, without the reserve
  int life = 1234;      // prints made
  int matte = 56;       // matte prints among them
  int half_size = 0;    // reported by RV-40 and RV-40W only
};

// A field, as the command line ("--free-buffers 3") and the state file ("free-buffers = 3") name
// it.
struct StateField {
  const char* key;
  const char* help;
  std::variant<std::string PrinterState::*, int PrinterState::*> member;
  int max = 0;                             // numbers: the maximum that fits the digits of the reply
  std::span<const char* const> choices{};  // texts: the choices; any if empty
};

[[nodiscard]] std::span<const StateField> state_fields();
[[nodiscard]] const StateField* find_state_field(const std::string& key);

// Sets the field from its text. Null on success, otherwise the error.
[[nodiscard]] std::optional<std::string> set_field(PrinterState& state, const StateField& field,
                                                   const std::string& text);
[[nodiscard]] std::string field_text(const PrinterState& state, const StateField& field);

// Null if `text` is not a number of `min` to `max`.
[[nodiscard]] std::optional<int> parse_number(const std::string& text, int min, int max);

// RV-40 and RV-40W count their prints exactly and have half-size media.
[[nodiscard]] bool is_rv40(const PrinterState& state);
