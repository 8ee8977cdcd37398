// Tells from the filter's log which sheets were sent, and says so to CUPS.
//
// The filter's log is fixed and holds no line that CUPS would count pages or show progress by.
#pragma once

#include <string>
#include <string_view>

class SheetWatch {
 public:
  // Without counting, the backend counts the sheets: it knows which came out, and which of them an
  // earlier attempt at the job has printed.
  explicit SheetWatch(bool counts_sheets = true) : counts_sheets_(counts_sheets) {}

  // Looks at one line of the filter's log, without its newline. Returns the lines CUPS is to get
  // behind it, each with its newline, or nothing. A line counts only when it is one of the filter's
  // own from its first byte to its last: what a user or a printer says never stands at the
  // beginning of a line.
  [[nodiscard]] std::string after(std::string_view line);

 private:
  bool counts_sheets_;
  unsigned long sheets_sent_ = 0;
  bool in_sheet_ = false;
  bool sheet_is_whole_ = false;
};
