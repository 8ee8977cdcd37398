// The questions in their order, and the short text form of a report.

#include "device/printer_report.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <utility>

#include "device/percent.h"

namespace k905 {

namespace {

class Questioner {
 public:
  Questioner(Printer& printer, PrinterReport& report) : printer_(printer), report_(report) {}

  Reply ask(QuestionId id) {
    Reply reply = printer_.ask(id);
    report_.answered = report_.answered || reply.error == 0 || reply.error == EPROTO;
    return reply;
  }

  std::string text(QuestionId id) {
    Reply reply = ask(id);
    return reply.error == 0 ? std::move(reply.text) : "";
  }

  std::optional<int> number(QuestionId id) { return ask(id).valid_number(); }

 private:
  Printer& printer_;
  PrinterReport& report_;
};

// Only the horizontal reply distinguishes the two modes.
std::string resolution_in(const std::string& horizontal) {
  return horizontal.find("300") != std::string::npos   ? "300x300"
         : horizontal.find("600") != std::string::npos ? "300x600"
                                                       : "";
}

constexpr auto kFields = std::to_array<ReportField>({
    {"status_code", &PrinterReport::status_code},
    {"model", &PrinterReport::model},
    {"media", &PrinterReport::media},
    {"media_text", &PrinterReport::media_text},
    {"resolution", &PrinterReport::resolution},
    {"prints_left", &PrinterReport::prints_left},
    {"prints_initial", &PrinterReport::prints_initial},
    {"half_size_left", &PrinterReport::half_size_left},
    {"free_buffers", &PrinterReport::free_buffers},
    {"life_counter", &PrinterReport::life_counter},
    {"matte_counter", &PrinterReport::matte_counter},
    {"serial_number", &PrinterReport::serial_number},
    {"firmware", &PrinterReport::firmware},
    {"color_data_version", &PrinterReport::color_data_version},
    {"color_data_checksum", &PrinterReport::color_data_checksum},
});

bool take_value(std::string_view value, const ReportField& field, PrinterReport& report) {
  if (const auto* text = std::get_if<std::string PrinterReport::*>(&field.member)) {
    const std::optional<std::string> decoded = percent_decoded(value);
    report.** text = decoded.value_or("");
    return decoded.has_value();
  }
  int number = 0;
  const char* const end = value.data() + value.size();
  const auto [stop, error] = std::from_chars(value.data(), end, number);
  if (error != std::errc{} || stop != end) {
    return false;
  }
  report.*std::get<std::optional<int> PrinterReport::*>(field.member) = number;
  return true;
}

}  // namespace

PrinterReport ask_report(Printer& printer) {
  PrinterReport report;
  Questioner questions(printer, report);
  const Reply status = questions.ask(QuestionId::kStatus);
  report.status_error = status.error;
  if (status.error == 0) {
    report.status_code = status.number;
  }
  report.firmware = questions.text(QuestionId::kFirmware);
  if (!report.answered || !printer.is_open()) {
    return report;
  }
  report.model = printer.model();
  report.media_text = questions.text(QuestionId::kMedia);
  report.media = find_media(report.media_text.c_str());
  report.resolution = resolution_in(questions.text(QuestionId::kResolutionH));
  report.free_buffers = questions.number(QuestionId::kFreeBuffers);
  report.prints_initial = questions.number(QuestionId::kInitialMedia);
  report.prints_left = questions.number(QuestionId::kRemainingMedia);
  report.serial_number = questions.text(QuestionId::kSerialNumber);
  report.life_counter = questions.number(QuestionId::kLifeCounter);
  if (is_answered_by(QuestionId::kHalfSizeMedia, report.model.c_str())) {
    report.half_size_left = questions.number(QuestionId::kHalfSizeMedia);
  }
  report.matte_counter = questions.number(QuestionId::kMatteCounter);
  report.color_data_version = questions.text(QuestionId::kColorTableVersion);
  report.color_data_checksum = questions.text(QuestionId::kColorTableChecksum);
  return report;
}

std::span<const ReportField> report_fields() { return kFields; }

std::string value_of(const PrinterReport& report, const ReportField& field) {
  if (const auto* text = std::get_if<std::string PrinterReport::*>(&field.member)) {
    return report.**text;
  }
  const std::optional<int>& number =
      report.*std::get<std::optional<int> PrinterReport::*>(field.member);
  return number ? std::to_string(*number) : "";
}

std::string to_note(const PrinterReport& report) {
  std::string note;
  for (const ReportField& field : kFields) {
    const std::string value = percent_encoded(value_of(report, field));
    if (!value.empty()) {
      note.append(note.empty() ? "" : ";").append(field.key).append("=").append(value);
    }
  }
  return note;
}

PrinterReport parse_note(std::string_view note) {
  PrinterReport report;
  while (!note.empty()) {
    const std::string_view pair = note.substr(0, note.find(';'));
    note.remove_prefix(std::min(pair.size() + 1, note.size()));
    const std::size_t equals = pair.find('=');
    for (const ReportField& field : kFields) {
      if (equals != std::string_view::npos && pair.substr(0, equals) == field.key) {
        report.answered |= take_value(pair.substr(equals + 1), field, report);
      }
    }
  }
  return report;
}

}  // namespace k905
