// Messages to the print system: lines on standard error that the scheduler interprets.
#pragma once

#include <string>
#include <string_view>

namespace k905::backend {

// Writes a line in one write call, so that lines of several processes do not mix. Line breaks in
// the text, which can come from a printer, become spaces: they would begin a new line. False if
// the pipe has no reader, because the scheduler has ended; that is not an error.
bool write_line(std::string_view prefix, std::string_view text);

inline void debug(std::string_view text) { write_line("DEBUG: ", text); }
inline void info(std::string_view text) { write_line("INFO: ", text); }
inline void warn(std::string_view text) { write_line("WARNING: ", text); }
inline void error(std::string_view text) { write_line("ERROR: ", text); }

// The printer-state-reason of the queue: at most one at a time.
class StateReason {
 public:
  // Removes the reason that an earlier process may have left when it was killed.
  StateReason();
  ~StateReason();
  StateReason(const StateReason&) = delete;
  StateReason& operator=(const StateReason&) = delete;

  // Shows the keyword and the sentence; writes nothing if both are shown already.
  void show(std::string_view keyword, std::string_view sentence);

  // Removes the reason.
  void clear();

 private:
  std::string keyword_;
  std::string sentence_;
};

}  // namespace k905::backend
