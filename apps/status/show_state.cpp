// Text, table, JSON lines and metrics.

#include "apps/status/show_state.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <iterator>
#include <nlohmann/json.hpp>
#include <numeric>

#include "apps/base/text.h"

namespace k905 {

namespace {

using Json = nlohmann::ordered_json;

Json or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

// One line such as {"key": 1, "other": null}; dump() writes either no spaces or one line per key.
std::string line_of(const Json& object) {
  std::string text = object.dump(0, ' ', false, Json::error_handler_t::replace);
  text.erase(text.size() - 2, 1).erase(1, 1);
  std::ranges::replace(text, '\n', ' ');
  return text + "\n";
}

std::string json_of(const PrinterState& printer) {
  Json object{{"device", or_null(printer.device)},
              {"state", names_of(printer.state).key},
              {"message", or_null(printer.message)}};
  for (const ReportField& field : report_fields()) {
    const std::string value = value_of(printer.report, field);
    const bool is_text = std::holds_alternative<std::string PrinterReport::*>(field.member);
    object[field.key] = is_text || value.empty() ? or_null(value) : Json(std::stoi(value));
    if (field.key == std::string_view("status_code")) {
      object["status_text"] = or_null(status_text_of(printer.report));
    }
  }
  return line_of(object);
}

constexpr auto kDetails = std::to_array<ReportField>({
    {"status code", &PrinterReport::status_code},
    {"model", &PrinterReport::model},
    {"media", &PrinterReport::media},
    {"prints left", &PrinterReport::prints_left},
    {"prints when new", &PrinterReport::prints_initial},
    {"half-size left", &PrinterReport::half_size_left},
    {"free buffers", &PrinterReport::free_buffers},
    {"resolution", &PrinterReport::resolution},
    {"serial number", &PrinterReport::serial_number},
    {"firmware", &PrinterReport::firmware},
    {"prints made", &PrinterReport::life_counter},
    {"matte prints", &PrinterReport::matte_counter},
    {"color data", &PrinterReport::color_data_version},
    {"color checksum", &PrinterReport::color_data_checksum},
});

std::string details_of(const PrinterState& printer) {
  constexpr std::size_t max_line_bytes = 400;
  constexpr std::size_t max_value_bytes = 200;
  const std::string why = explanation_of(printer);
  std::string text = one_line_of_text(printer.device + ": " + names_of(printer.state).text +
                                          (why.empty() ? "" : ", ") + why,
                                      max_line_bytes) +
                     "\n";
  for (const ReportField& line : kDetails) {
    const std::string value = value_of(printer.report, line);
    char label[32];
    std::snprintf(label, sizeof label, "  %-18s", line.key);
    text += value.empty() ? "" : label + one_line_of_text(value, max_value_bytes) + "\n";
  }
  return text;
}

using Row = std::array<std::string, 6>;

Row row_of(const PrinterState& printer) {
  const PrinterReport& report = printer.report;
  Row row{printer.device,
          names_of(printer.state).text,
          report.prints_left ? std::to_string(*report.prints_left) : "",
          report.media,
          report.serial_number,
          explanation_of(printer)};
  constexpr std::size_t max_bytes = 200;
  for (std::string& cell : row) {
    cell = cell.empty() ? "-" : one_line_of_text(cell, max_bytes);
  }
  return row;
}

// The width of a cell in characters: bytes that continue a UTF-8 character do not count.
std::size_t width_of(const std::string& cell) {
  return static_cast<std::size_t>(
      std::count_if(cell.begin(), cell.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string table_of(const std::vector<PrinterState>& printers) {
  std::vector<Row> rows{{"PRINTER", "STATE", "LEFT", "MEDIA", "SERIAL", "STATUS"}};
  std::transform(printers.begin(), printers.end(), std::back_inserter(rows), row_of);
  std::string table;
  for (const Row& row : rows) {
    for (std::size_t column = 0; column + 1 < row.size(); ++column) {
      const std::size_t width = std::accumulate(rows.begin(), rows.end(), std::size_t{0},
                                                [column](std::size_t most, const Row& other) {
                                                  return std::max(most, width_of(other[column]));
                                                });
      table += row[column] + std::string(width - width_of(row[column]) + 2, ' ');
    }
    table += row.back() + "\n";
  }
  return table;
}

struct Metric {
  const char* name;
  const char* type;
  const char* help;
  std::optional<int> (*value)(const PrinterState& printer);
};

constexpr auto kMetrics = std::to_array<Metric>({
    {"k905_up", "gauge",
     "Whether the printer's state is known: from the printer, or from a queue that is printing.",
     [](const PrinterState& p) { return std::optional<int>(p.report.status_code ? 1 : 0); }},
    {"k905_ready", "gauge", "Whether the printer is idle and can print.",
     [](const PrinterState& p) { return std::optional<int>(p.state == State::ready ? 1 : 0); }},
    {"k905_status_code", "gauge",
     "Status code of the printer, 0 when idle, from 1000 on it needs attention.",
     [](const PrinterState& p) { return p.report.status_code; }},
    {"k905_prints_left", "gauge", "Prints left on the loaded media.",
     [](const PrinterState& p) { return p.report.prints_left; }},
    {"k905_prints_initial", "gauge", "Number of prints on the loaded media when it was new.",
     [](const PrinterState& p) { return p.report.prints_initial; }},
    {"k905_free_buffers", "gauge", "Buffers of the printer that can take a sheet.",
     [](const PrinterState& p) { return p.report.free_buffers; }},
    {"k905_life_counter_total", "counter", "Prints that the printer has made.",
     [](const PrinterState& p) { return p.report.life_counter; }},
});

// Escapes backslashes, quotes and line ends.
std::string label(const char* name, const std::string& value) {
  std::string text = std::string(name) + "=\"";
  for (const char c : valid_utf8(value)) {
    text += c == '\n' ? "\\n" : c == '"' || c == '\\' ? std::string{'\\', c} : std::string(1, c);
  }
  return text + '"';
}

}  // namespace

std::string as_text(const std::vector<PrinterState>& printers) {
  return printers.size() == 1 ? details_of(printers.front()) : table_of(printers);
}

std::string as_json(const std::vector<PrinterState>& printers) {
  return std::transform_reduce(printers.begin(), printers.end(), std::string(), std::plus<>(),
                               json_of);
}

std::string as_metrics(const std::vector<PrinterState>& printers) {
  std::string text;
  for (const Metric& metric : kMetrics) {
    const std::string name = metric.name;
    std::string samples;
    for (const PrinterState& printer : printers) {
      if (const std::optional<int> value = metric.value(printer)) {
        samples += name + "{" + label("printer", printer.device) + "," +
                   label("serial", printer.report.serial_number) + "} " + std::to_string(*value) +
                   "\n";
      }
    }
    if (!samples.empty()) {
      text.append("# HELP ").append(name).append(" ").append(metric.help);
      text.append("\n# TYPE ").append(name).append(" ").append(metric.type);
      text.append("\n").append(samples);
    }
  }
  return text;
}

}  // namespace k905
