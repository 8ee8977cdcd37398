// What the filter's status query reports, taken apart.
#pragma once

#include <optional>
#include <string>
#include <string_view>

struct PrinterReport {
  std::optional<int> status_code;  // empty: the printer did not say
  std::string status_text;         // "" for a code that is not known
  // "" where the printer did not say or nothing was found in what it said.
  std::string model;
  std::string media;
  std::string media_text;  // the whole reply `media` was found in
  std::string resolution;
  std::string serial_number;
  std::string firmware;
  std::string color_data_version;
  std::string color_data_checksum;
  // Empty where the reply held no number.
  std::optional<int> prints_left;  // never below 0: the reserve of a roll is not promised
  std::optional<int> prints_initial;
  std::optional<int> half_size_left;
  std::optional<int> free_buffers;
  std::optional<int> life_counter;
  std::optional<int> matte_counter;

  // Whether the printer said anything at all.
  bool answered = false;
};

// Null when the text is not the whole report. Replies may hold any bytes, line ends too.
[[nodiscard]] std::optional<PrinterReport> parse_report(std::string_view text);
