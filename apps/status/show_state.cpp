#include "apps/status/show_state.h"

#include <cstdio>

#include "apps/base/text.h"

namespace {

std::string quoted(const std::string& bytes) {
  std::string text = "\"";
  for (const char letter : valid_utf8(bytes)) {
    const auto byte = static_cast<unsigned char>(letter);
    if (letter == '"' || letter == '\\') {
      text += {'\\', letter};
    } else if (byte < 0x20 || byte == 0x7F) {
      char code[8];
      std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(byte));
      text += code;
    } else {
      text += letter;
    }
  }
  return text + '"';
}

class JsonLine {
 public:
  void add(const char* key, const std::string& text) {
    add_raw(key, text.empty() ? "null" : quoted(text));
  }
  void add(const char* key, const std::optional<int>& number) {
    add_raw(key, number ? std::to_string(*number) : "null");
  }
  [[nodiscard]] std::string line() const { return "{" + members_ + "}\n"; }

 private:
  void add_raw(const char* key, const std::string& value) {
    members_ += members_.empty() ? "\"" : ", \"";
    members_.append(key).append("\": ").append(value);
  }

  std::string members_;
};

class Lines {
 public:
  explicit Lines(std::string first) : text_(std::move(first)) {}
  void add(const char* what, const std::string& value) {
    constexpr std::size_t longest = 200;
    if (!value.empty()) {
      char label[32];
      std::snprintf(label, sizeof label, "  %-18s", what);
      text_.append(label).append(one_line_of_text(value, longest)).append("\n");
    }
  }
  void add(const char* what, const std::optional<int>& number) {
    add(what, number ? std::to_string(*number) : "");
  }
  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  std::string text_;
};

}  // namespace

std::string as_text(const PrinterState& printer) {
  const PrinterReport& report = printer.report;
  const std::string why = printer.message.empty() ? report.status_text : printer.message;
  constexpr std::size_t longest = 400;
  Lines lines(one_line_of_text(printer.device + ": " + names_of(printer.state).words + ", " + why,
                               longest) +
              "\n");
  lines.add("status code", report.status_code);
  lines.add("model", report.model);
  lines.add("media", report.media);
  lines.add("prints left", report.prints_left);
  lines.add("of a roll of", report.prints_initial);
  lines.add("half-size left", report.half_size_left);
  lines.add("free buffers", report.free_buffers);
  lines.add("resolution", report.resolution);
  lines.add("serial number", report.serial_number);
  lines.add("firmware", report.firmware);
  lines.add("prints made", report.life_counter);
  lines.add("of them matte", report.matte_counter);
  lines.add("color data", report.color_data_version);
  lines.add("their checksum", report.color_data_checksum);
  return lines.text();
}

std::string as_json(const PrinterState& printer) {
  const PrinterReport& report = printer.report;
  JsonLine json;
  json.add("device", printer.device);
  json.add("state", names_of(printer.state).key);
  json.add("message", printer.message);
  json.add("status_code", report.status_code);
  json.add("status_text", report.status_text);
  json.add("model", report.model);
  json.add("media", report.media);
  json.add("media_text", report.media_text);
  json.add("resolution", report.resolution);
  json.add("prints_left", report.prints_left);
  json.add("prints_initial", report.prints_initial);
  json.add("half_size_left", report.half_size_left);
  json.add("free_buffers", report.free_buffers);
  json.add("life_counter", report.life_counter);
  json.add("matte_counter", report.matte_counter);
  json.add("serial_number", report.serial_number);
  json.add("firmware", report.firmware);
  json.add("color_data_version", report.color_data_version);
  json.add("color_data_checksum", report.color_data_checksum);
  return json.line();
}
