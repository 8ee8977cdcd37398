#include "apps/print/history.h"

#include <filesystem>
#include <system_error>
#include <vector>

#include "apps/base/text.h"
#include "apps/print/photo_file.h"

namespace k905 {

namespace {

constexpr std::size_t kMaxLineBytes = 5000;

std::string time_of(const SheetEntry& sheet) {
  return sheet.time == 0 ? "-                  " : local_time(sheet.time);
}

std::string destination_of(const SheetEntry& sheet) {
  if (!sheet.target.queue.empty()) {
    return sheet.number == 0 ? sheet.target.queue
                             : "job " + std::to_string(sheet.number) + " on " + sheet.target.queue;
  }
  return sheet.target.device;
}

std::string labeled(const char* name, const std::string& value) {
  return value.empty() ? "" : name + (" " + value);
}

// The names that the file of the sheet may have now, the likeliest first. The file may have been
// renamed, by the operator or because its name was taken in the folder to which it was moved; its
// content decides.
std::vector<std::string> possible_names(const SheetEntry& sheet) {
  namespace fs = std::filesystem;
  std::vector<std::string> names;
  std::vector<std::string> others;
  const std::string stem = fs::path(sheet.name).stem();
  for (const char* place : {"", "printed/", "failed/"}) {
    names.push_back(place + sheet.name);
    std::error_code problem;
    for (fs::directory_iterator file(sheet.folder + "/" + place, problem), end;
         !problem && file != end; file.increment(problem)) {
      std::error_code ignored;
      const std::string name = file->path().filename();
      if (file->is_regular_file(ignored) && file->file_size(ignored) == sheet.content.size) {
        (name.starts_with(stem) ? names : others).push_back(place + name);
      }
    }
  }
  names.insert(names.end(), others.begin(), others.end());
  return names;
}

}  // namespace

std::string history_line(const SheetEntry& sheet) {
  std::string line = std::to_string(sheet.id) + "  " + time_of(sheet) + "  " +
                     text_of(sheet.outcome) + "  " + sheet.folder + "/" + sheet.name;
  const int life = sheet.printer.life_counter;
  for (const std::string& part :
       {destination_of(sheet), labeled("serial number", sheet.printer.serial_number),
        labeled("life counter", life == 0 ? "" : std::to_string(life)),
        labeled("event", sheet.event), sheet.reason}) {
    line += part.empty() ? "" : "  " + part;
  }
  return one_line_of_text(line, kMaxLineBytes);
}

std::optional<SheetEntry> order_reprint(Ledger& ledger, SheetEntry sheet, int copies,
                                        std::string& error) {
  error = sheet.folder + "/" + sheet.name + ": the file no longer exists, or it was changed";
  for (const std::string& name : possible_names(sheet)) {
    PhotoFile photo;
    std::string problem;
    const std::string path = sheet.folder + "/" + name;
    const PhotoRead result = photo.read(path, problem);
    if (result == PhotoRead::complete && photo.content() == sheet.content) {
      sheet.name = name;
      ledger.order(sheet.folder, sheet.name, sheet.content, nullptr, copies);
      return sheet;
    }
    if (result == PhotoRead::failed) {
      error = path;
      error += ": " + problem;
    }
  }
  return std::nullopt;
}

}  // namespace k905
