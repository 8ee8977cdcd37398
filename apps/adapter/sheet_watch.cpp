#include "apps/adapter/sheet_watch.h"

#include <algorithm>
#include <array>

namespace {

// The progress of a sheet when the filter logs this line, in percent.
struct Step {
  std::string_view before_number;
  std::string_view after_number;
  int percent;
};

constexpr std::array<Step, 3> steps{{
    {"K905-1: DEBUG: Sending Y plane (", " bytes)", 0},
    {"K905-1: DEBUG: Sending M plane (", " bytes)", 33},
    {"K905-1: DEBUG: Sending C plane (", " bytes)", 66},
}};

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// Whether `line` consists of `start`, a number and `end`.
bool is_numbered(std::string_view line, std::string_view start, std::string_view end) {
  if (line.size() <= start.size() + end.size()) return false;
  if (!line.starts_with(start) || !line.ends_with(end)) return false;
  line.remove_prefix(start.size());
  line.remove_suffix(end.size());
  return std::ranges::all_of(line, is_digit);
}

bool begins_sheet(std::string_view line) {
  return is_numbered(line, "K905-1: ===== PRINT CALL #", " =====");
}

bool ends_sheet(std::string_view line) {
  return is_numbered(line, "K905-1: Single page printed successfully (print call #", ")");
}

// The filter logs the same line at the end of a sheet whether or not its bytes were written.
bool reports_lost_bytes(std::string_view line) {
  return line.starts_with("K905-1: write error: ") || line == "K905-1: write returned 0" ||
         line == "K905-1: send Y plane failed" || line == "K905-1: send M plane failed" ||
         line == "K905-1: send C plane failed";
}

std::string progress(int percent) {
  return "ATTR: job-media-progress=" + std::to_string(percent) + "\n";
}

}  // namespace

std::string SheetWatch::lines_after(std::string_view line) {
  if (begins_sheet(line)) {
    in_sheet_ = true;
    sheet_is_complete_ = true;
    return "";
  }
  if (!in_sheet_) return "";
  if (reports_lost_bytes(line)) {
    sheet_is_complete_ = false;
    return "";
  }
  if (ends_sheet(line)) {
    in_sheet_ = false;
    if (!sheet_is_complete_) return "";
    ++sheets_sent_;
    return progress(100) + (counts_sheets_ ? "PAGE: " + std::to_string(sheets_sent_) + " 1\n" : "");
  }
  const auto step = std::ranges::find_if(steps, [&](const Step& candidate) {
    return is_numbered(line, candidate.before_number, candidate.after_number);
  });
  return step == steps.end() ? "" : progress(step->percent);
}
