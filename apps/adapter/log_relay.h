// The filter's log on its way to CUPS: every byte in its order, our own lines between whole lines.
#pragma once

#include <string>
#include <string_view>

#include "apps/adapter/sheet_watch.h"

class LogRelay {
 public:
  explicit LogRelay(bool counts_sheets = true) : watch_(counts_sheets) {}

  // Takes bytes as they come, in pieces of any size.
  void take(std::string_view bytes);

  // The filter's end: a line without its newline goes out as it is.
  void finish();

  // What is to be written next.
  [[nodiscard]] std::string_view pending() const;
  // The first `count` bytes of pending() were written.
  void written(std::size_t count);

 private:
  void end_line(std::string_view line_and_newline);

  SheetWatch watch_;
  std::string line_;          // begun and not yet ended
  bool line_is_cut_ = false;  // the beginning of line_ has gone out already
  std::string out_;
  std::size_t out_done_ = 0;
};
