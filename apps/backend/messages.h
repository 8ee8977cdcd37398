// What the backend tells the print system: lines on standard error that the scheduler interprets.
#pragma once

#include <string>
#include <string_view>

namespace k905::backend {

// One line in one write, so that lines of several processes do not mix. Line ends inside the text,
// which can come from a printer, become blanks: they would begin a line of their own. False when
// nobody reads it, because the scheduler is gone; that is no error.
bool write_line(std::string_view prefix, std::string_view text);

inline void debug(std::string_view text) { write_line("DEBUG: ", text); }
inline void info(std::string_view text) { write_line("INFO: ", text); }
inline void warn(std::string_view text) { write_line("WARNING: ", text); }
inline void error(std::string_view text) { write_line("ERROR: ", text); }

// The printer-state-reason shown for the queue: at most one at a time.
class StateReason {
 public:
  // Takes back what an earlier process that was killed may have left.
  StateReason();
  ~StateReason();
  StateReason(const StateReason&) = delete;
  StateReason& operator=(const StateReason&) = delete;

  // Shows the keyword and the sentence; nothing is written when both are shown already.
  void show(std::string_view keyword, std::string_view sentence);

  // Takes back what is shown.
  void clear();

 private:
  std::string keyword_;
  std::string sentence_;
};

}  // namespace k905::backend
