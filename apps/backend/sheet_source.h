// Splits the stream of a job into sheets and checks every byte of them.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>

#include "apps/backend/stop_request.h"
#include "apps/wire/printer_stream.h"

namespace k905::backend {

class SheetSource {
 public:
  // Reads from the descriptor, which the caller keeps. With more than one copy it must be a file,
  // which is read again from its start.
  SheetSource(int descriptor, int copies);

  enum class Next {
    kSheet,
    kEnd,      // after the last sheet
    kInvalid,  // the next bytes are not a valid sheet, or the stream ends inside one: see problem()
    kFailed,   // the stream cannot be read: see problem()
    kStopped,  // stop was requested while waiting for data
  };

  // Holds at most one sheet in memory, plus less than one read of the data after it.
  [[nodiscard]] Next next(Sheet& sheet, StopRequest& stop);

  [[nodiscard]] const std::string& problem() const { return problem_; }

 private:
  PrinterStreamParser new_parser();
  // Null if the caller is to continue: with a complete sheet, an error of the parser, or more data.
  [[nodiscard]] std::optional<Next> read_more(StopRequest& stop);
  [[nodiscard]] std::optional<Next> end_of_copy();

  int descriptor_;
  int copies_left_;
  std::deque<Sheet> complete_;
  PrinterStreamParser parser_;
  std::string problem_;
};

}  // namespace k905::backend
