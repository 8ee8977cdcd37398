// Detects from the filter's log which sheets were sent, and reports them to CUPS.
//
// The filter's log is fixed and has no line by which CUPS could count pages or show progress.
#pragma once

#include <string>
#include <string_view>

class SheetWatch {
 public:
  // `counts_sheets`: write a PAGE line for each sheet. False if the backend writes these lines: it
  // knows which sheets came out, and which of them an earlier attempt at the job printed.
  explicit SheetWatch(bool counts_sheets = true) : counts_sheets_(counts_sheets) {}

  // Checks one line of the filter's log, without its newline. Returns the lines to add after it,
  // each with its newline, or nothing. A line counts only if it matches a line of the filter
  // completely; text of a user or a printer is never at the beginning of a line.
  [[nodiscard]] std::string lines_after(std::string_view line);

 private:
  bool counts_sheets_;
  unsigned long sheets_sent_ = 0;
  bool in_sheet_ = false;
  bool sheet_is_complete_ = false;
};
