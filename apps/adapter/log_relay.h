// Passes the filter's log on to CUPS: all bytes in order, with our own lines between complete
// lines.
#pragma once

#include <string>
#include <string_view>

#include "apps/adapter/sheet_watch.h"

class LogRelay {
 public:
  explicit LogRelay(bool counts_sheets = true) : watch_(counts_sheets) {}

  // Takes bytes in pieces of any size.
  void take(std::string_view bytes);

  // To be called at the end of the log: a last line without a newline is passed on too.
  void finish();

  // The bytes to be written next.
  [[nodiscard]] std::string_view pending() const;
  // Removes the first `count` bytes of pending(), which were written.
  void written(std::size_t count);

 private:
  void end_line(std::string_view line_and_newline);

  SheetWatch watch_;
  std::string line_;          // the incomplete last line
  bool line_is_cut_ = false;  // the beginning of line_ was passed on already
  std::string out_;
  std::size_t out_written_ = 0;
};
