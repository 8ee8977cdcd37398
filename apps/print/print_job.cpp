#include "apps/print/print_job.h"

#include <signal.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "apps/base/text.h"
#include "apps/layout/cells.h"
#include "apps/layout/page_in_child.h"
#include "apps/layout/test_page.h"
#include "filter/cancel_signals.h"

namespace k905 {

namespace {

volatile sig_atomic_t stop_flag = 0;

void set_stop_flag(int) { stop_flag = 1; }

bool send(Destination& destination, const Picture& page, int copies, std::string& error) {
  for (int copy = 0; copy < copies; ++copy) {
    if (!destination.page(page, error)) {
      return false;
    }
  }
  return true;
}

struct Source {
  std::string path;
  std::string name;
  std::string error = {};  // why it cannot be read
};

// A caption with its fields filled in: the day of printing and the name of the file.
std::string with_fields_filled(std::string caption, const std::string& file) {
  constexpr std::size_t date_length = 10;
  const std::pair<std::string_view, std::string> fields[] = {
      {"{date}", local_time(std::time(nullptr)).substr(0, date_length)},
      {"{file}", std::filesystem::path(file).stem().string()}};
  for (const auto& [field, text] : fields) {
    for (std::size_t at = 0; (at = caption.find(field, at)) != std::string::npos;) {
      caption.replace(at, field.size(), text);
      at += text.size();
    }
  }
  constexpr std::size_t max_bytes = 500;
  return one_line_of_text(caption, max_bytes);
}

std::optional<Picture> read_for(const SheetPlace& place, const PrepareOptions& prepare_options,
                                Source& source, const ErrorReport& report_error) {
  std::optional<PreparedPhoto> prepared =
      page_in_child(source.path, place, prepare_options, source.error);
  if (!prepared) {
    return std::nullopt;
  }
  if (!prepared->warning.empty()) {
    report_error(source.name + ": " + prepared->warning);
  }
  return std::move(prepared->picture);
}

// A cell of the sheet with its photo, and the index of the photo in the sources.
struct FilledCell {
  Cell cell;
  std::optional<Picture> photo = {};
  std::size_t source = 0;
};

// Each photo is in its cell; empty cells, and those of photos that cannot be read, repeat the
// others in order. Empty if none can be read.
std::vector<FilledCell> read_cells(const JobSetup& setup, const SheetPlace& place,
                                   std::span<Source> sources, const ErrorReport& report_error) {
  std::vector<FilledCell> cells;
  for (const Cell& cell : cells_of(setup.layout, place)) {
    cells.push_back({.cell = cell});
  }
  const auto read = [&](FilledCell& cell, std::size_t source, const ErrorReport& report) {
    cell.source = source;
    cell.photo =
        read_for(place_in(cell.cell, place), setup.prepare_options, sources[source], report);
    return cell.photo.has_value();
  };
  std::vector<std::size_t> readable;
  for (std::size_t i = 0; i < sources.size(); ++i) {
    if (read(cells[i], i, report_error)) {
      readable.push_back(i);
    }
  }
  std::size_t next = 0;
  for (std::size_t i = 0; i < cells.size() && !readable.empty(); ++i) {
    if (cells[i].photo) {
      continue;
    }
    const FilledCell& from = cells[readable[next++ % readable.size()]];
    if (cells[i].cell.width == from.cell.width && cells[i].cell.height == from.cell.height) {
      cells[i].photo = from.photo;
      cells[i].source = from.source;
    } else if (!read(cells[i], from.source, [](const std::string&) {})) {
      return {};
    }
  }
  return readable.empty() ? std::vector<FilledCell>() : cells;
}

// The letters are 4 mm high.
void add_captions(const JobSetup& setup, const SheetPlace& place, std::span<Source> sources,
                  const std::vector<FilledCell>& cells, Picture& sheet,
                  const ErrorReport& report_error) {
  const double across = static_cast<double>(sheet.width) / place.visible_width;
  const double down = static_cast<double>(sheet.height) / place.visible_height;
  const auto font_size = static_cast<std::uint32_t>(4 / 25.4 * place.dots_across * across);
  for (const FilledCell& cell : cells) {
    if (!draw_caption(sheet, with_fields_filled(setup.caption, sources[cell.source].name),
                      cell.cell, font_size, place.dpi_ratio() * down / across)) {
      report_error(sources[cell.source].name + ": the caption cannot be drawn");
    }
  }
}

// Null if nothing can be read; the sources have the reasons.
std::optional<Picture> read_sheet(const JobSetup& setup, std::span<Source> sources,
                                  const ErrorReport& report_error) {
  const SheetPlace place = sheet_place(setup.destination->choices());
  if (setup.test_page) {
    return page_for(test_page(place), place);
  }
  std::vector<FilledCell> cells = read_cells(setup, place, sources, report_error);
  if (cells.empty()) {
    return std::nullopt;
  }
  Picture sheet;
  if (cells.size() == 1) {
    sheet = sheet_with(std::move(*cells.front().photo), cells.front().cell, place);
  } else {
    sheet = black_picture(picture_size(place).width, picture_size(place).height);
    for (const FilledCell& cell : cells) {
      paste(sheet, eight_bit_colors(*cell.photo), cell.cell.left, cell.cell.top);
    }
  }
  if (setup.frame || !setup.caption.empty()) {
    sheet = eight_bit_colors(sheet);
  }
  if (setup.frame) {
    draw_overlay(sheet, *setup.frame);
  }
  if (!setup.caption.empty()) {
    add_captions(setup, place, sources, cells, sheet, report_error);
  }
  return page_for(sheet, place);
}

}  // namespace

std::string job_title(const std::vector<std::string>& files) {
  const std::string& first = files.front();
  const std::string file = first == "-" ? "photo" : first.substr(first.rfind('/') + 1);
  // The print system refuses titles that are not text.
  constexpr std::size_t max_bytes = 120;
  const std::string name = one_line_of_text(file, max_bytes);
  return files.size() == 1 ? name : name + " and " + std::to_string(files.size() - 1) + " more";
}

std::size_t photos_per_page(const JobSetup& setup) {
  return cells_of(setup.layout, sheet_place(setup.destination->choices())).size();
}

std::optional<Picture> read_page(const JobSetup& setup, const std::string& path,
                                 const std::string& name, const ErrorReport& report_error,
                                 std::string& error) {
  Source source{.path = path, .name = name};
  std::optional<Picture> page = read_sheet(setup, {&source, 1}, report_error);
  error = source.error;
  return page;
}

std::vector<PhotoReport> print_job(const JobSetup& setup, const std::vector<std::string>& files,
                                   Progress& progress, int done, const ErrorReport& report_error) {
  Destination& destination = *setup.destination;
  std::vector<PhotoReport> photos;
  photos.reserve(files.size());
  for (const std::string& file : files) {
    photos.push_back(report_of(file, kStopped, destination.target()));
  }
  Destination::StartedJob started;
  bool is_started = false;
  bool is_accepted = true;
  int pages = 0;
  std::string error;
  const std::size_t per_page = photos_per_page(setup);
  for (std::size_t i = 0; i < files.size() && is_accepted && (i == 0 || !stop_requested());
       i += per_page) {
    progress.show(done + static_cast<int>(i) + 1);
    std::vector<Source> sources;
    for (std::size_t k = i; k < std::min(i + per_page, files.size()); ++k) {
      sources.push_back({.path = files[k], .name = files[k]});
    }
    const std::optional<Picture> page = read_sheet(setup, sources, report_error);
    for (std::size_t k = 0; k < sources.size(); ++k) {
      PhotoReport& photo = photos[i + k];
      photo.reason = sources[k].error;
      if (!page || !photo.reason.empty()) {
        photo.outcome = text_of(Outcome::refused);
        report_error(files[i + k] + ": " + photo.reason);
        continue;
      }
      photo.outcome.clear();
      photo.sheet = pages / setup.pages_per_sheet + 1;
    }
    if (!page) {
      continue;
    }
    pages += setup.copies;
    is_accepted = is_started || destination.begin({job_title(files), ""}, started, error);
    is_started = true;
    is_accepted = is_accepted && send(destination, *page, setup.copies, error);
  }
  std::string place;
  is_accepted = is_started && is_accepted && destination.end(place, error);
  if (is_started && !is_accepted) {
    report_error(error);
  }
  for (PhotoReport& photo : photos) {
    photo.job = started.number;
    if (photo.outcome == text_of(Outcome::refused)) {
      continue;
    }
    if (is_started && !is_accepted) {
      photo.outcome = destination.may_have_printed() ? text_of(Outcome::in_doubt) : kFailed;
      photo.reason = error;
    } else if (photo.outcome == kStopped) {
      photo.reason = "stopped";
      continue;
    } else {
      photo.outcome = photo.target.queue.empty() ? text_of(Outcome::printed) : kSent;
      photo.place = place;
    }
    photo.printer = destination.printer();
  }
  return photos;
}

void stop_on_signals() {
  // A service manager may signal both the process and its group, so a repeated SIGTERM is not a
  // request to stop at once.
  handle_cancel_signals(set_stop_flag, SA_RESTART);
  struct sigaction interrupt = {};
  sigaction(SIGINT, nullptr, &interrupt);
  if (interrupt.sa_handler == set_stop_flag) {
    interrupt.sa_flags |= static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &interrupt, nullptr);
  }
}

bool stop_requested() { return stop_flag != 0; }

}  // namespace k905
