// The answers of a printer to all questions.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "device/printer.h"

namespace k905 {

struct PrinterReport {
  // The error of the status question: 0, ETIMEDOUT or another errno, EPROTO for a reply that is not
  // a number.
  int status_error = 0;
  std::optional<int> status_code;
  // Empty if the printer did not answer, or if its reply contains no known name.
  std::string model;
  std::string media;
  std::string media_text;  // the complete reply that contains `media`
  std::string resolution;
  std::string serial_number;
  std::string firmware;
  std::string color_data_version;
  std::string color_data_checksum;
  // Empty if the reply has no number.
  std::optional<int> prints_left;  // without the reserve, see Printer::ask
  std::optional<int> prints_initial;
  std::optional<int> half_size_left;
  std::optional<int> free_buffers;
  std::optional<int> life_counter;
  std::optional<int> matte_counter;

  bool answered = false;  // at least one question

  bool operator==(const PrinterReport&) const = default;
};

// Asks all questions of an open printer. A question without an answer leaves its field empty and
// the next one is asked, unless the printer answers neither of the first two or the connection is
// lost.
[[nodiscard]] PrinterReport ask_report(Printer& printer);

// A field and its name for programs.
struct ReportField {
  const char* key;
  std::variant<std::string PrinterReport::*, std::optional<int> PrinterReport::*> member;
};
[[nodiscard]] std::span<const ReportField> report_fields();

// As decimal digits if it is a number; empty if it is unknown.
[[nodiscard]] std::string value_of(const PrinterReport& report, const ReportField& field);

// The known fields as "key=value;key=value" without spaces or quotes. The backend publishes this
// text as an attribute of its queue. While the backend uses the printer, other programs read the
// attribute instead of asking the printer.
[[nodiscard]] std::string to_note(const PrinterReport& report);

// Ignores unknown keys and malformed values. A text without any field is not `answered`.
[[nodiscard]] PrinterReport parse_note(std::string_view note);

}  // namespace k905
