// The invariants of every log.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "fuzz/expect.h"

// CUPS interprets lines that begin with one of these.
inline constexpr std::string_view kCupsCommands[] = {
    "ALERT:", "ATTR:", "CRIT:",   "DEBUG:", "DEBUG2:", "EMERG:", "ERROR:",
    "INFO:",  "JOB",   "NOTICE:", "PAGE:",  "PPD:",    "STATE:", "WARNING:"};

// The filter's own lines of that kind, about the numbers of a page header.
inline constexpr std::string_view kOwnReports[] = {"WARNING: cupsBytesPerLine (",
                                                   "WARNING: Resolution has zero value!",
                                                   "ERROR: Invalid image dimensions!"};

// A truncated line is still one of the filter's own.
inline bool is_own_report(std::string_view line) {
  return std::ranges::any_of(kOwnReports, [line](std::string_view own) {
    return line.starts_with(own) || own.starts_with(line);
  });
}

inline bool is_cups_command(std::string_view line) {
  return !is_own_report(line) &&
         std::ranges::any_of(
             kCupsCommands, [line](std::string_view command) { return line.starts_with(command); });
}

// Complete lines that CUPS does not interpret, none longer than `limit` with its newline (0: any
// length).
inline void expect_plain_log(std::string_view log, std::size_t limit = 0) {
  expect(log.find('\r') == std::string_view::npos, "no carriage return in the log");
  expect(log.empty() || log.back() == '\n', "the log ends with a complete line");
  while (!log.empty()) {
    const std::string_view line = log.substr(0, log.find('\n'));
    expect(limit == 0 || line.size() < limit, "no line is longer than CUPS accepts");
    expect(!is_cups_command(line), "no text from outside is a command to CUPS");
    log.remove_prefix(line.size() + 1);
  }
}
