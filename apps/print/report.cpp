#include "apps/print/report.h"

#include <nlohmann/json.hpp>
#include <utility>

namespace k905 {

namespace {

using Json = nlohmann::ordered_json;

Json text_or_null(const std::string& text) { return text.empty() ? Json() : Json(text); }

template <typename Number>
Json number_or_null(Number number) {
  return number == 0 ? Json() : Json(number);
}

// File names need not be valid UTF-8.
std::string line_of(const Json& object) {
  return object.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

PhotoReport report_of(std::string file, std::string outcome, const SheetTarget& target,
                      std::string reason) {
  PhotoReport photo;
  photo.file = std::move(file);
  photo.outcome = std::move(outcome);
  photo.target = target;
  photo.reason = std::move(reason);
  return photo;
}

PhotoReport report_of(const SheetEntry& sheet) {
  PhotoReport photo = report_of(sheet.folder + "/" + sheet.name, text_of(sheet.outcome),
                                sheet.target, sheet.reason);
  photo.printer = sheet.printer;
  photo.job = sheet.number;
  photo.id = sheet.id;
  return photo;
}

std::string text_line(const PhotoReport& photo) {
  return photo.place.empty() ? "" : photo.file + " -> " + photo.place;
}

std::string json_line(const PhotoReport& photo) {
  Json object{{"file", photo.file},
              {"outcome", photo.outcome},
              {"queue", text_or_null(photo.target.queue)},
              {"device", text_or_null(photo.target.device)},
              {"serial_number", text_or_null(photo.printer.serial_number)},
              {"life_counter", number_or_null(photo.printer.life_counter)},
              {"job", number_or_null(photo.job)},
              {"sheet", number_or_null(photo.sheet)},
              {"id", number_or_null(photo.id)},
              {"preview", text_or_null(photo.preview)},
              {"reason", text_or_null(photo.reason)}};
  return line_of(object);
}

std::string json_line(const SheetEntry& sheet) {
  Json object{{"id", sheet.id},
              {"time", number_or_null(sheet.time)},
              {"file", sheet.folder + "/" + sheet.name},
              {"outcome", text_of(sheet.outcome)},
              {"queue", text_or_null(sheet.target.queue)},
              {"device", text_or_null(sheet.target.device)},
              {"serial_number", text_or_null(sheet.printer.serial_number)},
              {"life_counter", number_or_null(sheet.printer.life_counter)},
              {"job", number_or_null(sheet.number)},
              {"event", text_or_null(sheet.event)},
              {"reason", text_or_null(sheet.reason)}};
  return line_of(object);
}

}  // namespace k905
