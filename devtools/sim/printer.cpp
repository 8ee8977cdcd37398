#include "devtools/sim/printer.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "apps/wire/stream_dump.h"
#include "devtools/sim/replies.h"
#include "devtools/sim/sheet_folder.h"
#include "devtools/sim/state_file.h"

namespace {

// The interval at which a printer without paper reads its state file.
constexpr std::chrono::milliseconds kStateFilePause{100};

void warn(const std::string& line) { std::fprintf(stderr, "k905-sim: %s\n", line.c_str()); }

std::string describe_sheet(const k905::Sheet& sheet) {
  return std::to_string(sheet.width) + "x" + std::to_string(sheet.height) +
         (sheet.matte ? ", matte" : ", glossy") + ", cutter " + std::to_string(sheet.cutter);
}

}  // namespace

Printer::Printer(PrinterOptions options) : options_(std::move(options)), state_(options_.state) {}

void Printer::print_line(const std::string& line) const {
  std::printf("%s%s\n", options_.label.c_str(), line.c_str());
  std::fflush(stdout);
}

std::optional<std::string> Printer::answer(const std::string& group, const std::string& name,
                                           bool inside_sheet) {
  read_state_file();
  PrinterState reported = state_;
  reported.free_buffers = free_buffers(inside_sheet);
  std::optional<std::string> reply = reply_to(reported, status(inside_sheet), group, name);
  if (options_.traces) {
    print_line("question " + (name.empty() ? group : name) +
               (inside_sheet ? " inside a sheet" : "") + ": " + reply.value_or("no reply"));
  }
  return reply;
}

bool Printer::begin_sheet() {
  read_state_file();
  if (free_buffers(false) == 0) {
    return false;
  }
  if (options_.traces) {
    print_line("sheet " + std::to_string(next_sheet()) + " begins");
  }
  return true;
}

void Printer::take(k905::Sheet&& sheet) {
  buffers_.push_back(std::move(sheet));
  work();
}

void Printer::refuse(const k905::StreamError& error, const std::string& hint) {
  data_error_ = true;
  print_line("data error: " + describe(error) + (hint.empty() ? "" : "; " + hint));
}

void Printer::work() {
  while (!buffers_.empty()) {
    read_state_file();
    const bool has_paper = state_.remaining > 0;
    if (stopped_ != kReady || !has_paper) {
      first_done_at_.reset();
      if (!options_.keeps_sheets) {
        lose(stopped_ != kReady ? "stopped" : "no paper");
      }
      return;
    }
    const Clock::time_point now = Clock::now();
    first_done_at_ = first_done_at_.value_or(now + options_.print_time);
    if (*first_done_at_ > now) {
      return;
    }
    first_done_at_.reset();
    const k905::Sheet sheet = std::move(buffers_.front());
    buffers_.pop_front();
    print(sheet);
  }
}

std::optional<Printer::Clock::time_point> Printer::due() const {
  if (buffers_.empty() || first_done_at_) {
    return first_done_at_;
  }
  return options_.state_file.empty() ? std::nullopt : std::optional(Clock::now() + kStateFilePause);
}

void Printer::stop(int status) {
  stopped_ = status;
  work();
}

std::optional<std::string> Printer::set(const std::string& key, const std::string& text) {
  const StateField* field = find_state_field(key);
  if (field == nullptr) {
    return "unknown field '" + key + "'";
  }
  read_state_file();
  std::optional<std::string> problem = set_field(state_, *field, text);
  write_state_file();
  work();
  return problem;
}

void Printer::lose_buffers() {
  lose("power off");
  data_error_ = false;
}

void Printer::lose(const std::string& reason) {
  for (const k905::Sheet& sheet : std::exchange(buffers_, {})) {
    print_line(reason + ": " + describe_sheet(sheet) + " was not printed");
  }
  first_done_at_.reset();
}

// The line is printed last, when the image and the state file are complete.
void Printer::print(const k905::Sheet& sheet) {
  data_error_ = false;
  --state_.remaining;
  ++state_.life;
  state_.matte += sheet.matte ? 1 : 0;
  ++printed_;
  const std::string image_text = save_image(sheet);
  write_state_file();
  print_line("sheet " + std::to_string(printed_) + ": " + describe_sheet(sheet) + image_text +
             ", " + std::to_string(state_.remaining) + " left");
}

int Printer::status(bool inside_sheet) const {
  if (state_.status != kStatusIdle) {
    return state_.status;
  }
  if (stopped_ != kReady) {
    return stopped_;
  }
  if (inside_sheet || first_done_at_) {
    return kStatusPrinting;
  }
  if (data_error_) {
    return kStatusDataError;
  }
  return state_.remaining == 0 ? kStatusPaperEnd : kStatusIdle;
}

int Printer::free_buffers(bool inside_sheet) const {
  const int taken = static_cast<int>(buffers_.size()) + (inside_sheet ? 1 : 0);
  return std::max(0, state_.free_buffers - taken);
}

std::string Printer::save_image(const k905::Sheet& sheet) {
  if (options_.sheets.empty()) {
    return "";
  }
  std::string error;
  const std::string path =
      save_sheet_image(options_.sheets, sheet,
                       options_.canvas ? k905::SheetView::canvas : k905::SheetView::paper, error);
  if (path.empty()) {
    ++images_lost_;
    warn(options_.sheets + ": the image of sheet " + std::to_string(printed_) +
         " is not stored: " + error);
    return ", image not stored";
  }
  return ", " + path;
}

// A file that is being edited may be invalid for a moment; the state then stays unchanged.
void Printer::read_state_file() {
  if (const auto problem = load_state(options_.state_file, state_)) {
    warn(*problem);
  }
}

void Printer::write_state_file() const {
  if (const auto problem = save_state(options_.state_file, state_)) {
    warn(*problem);
  }
}
