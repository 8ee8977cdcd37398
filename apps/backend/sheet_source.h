// The job's stream, cut into sheets that were checked to the byte.
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
  // Reads from the descriptor, which stays the caller's. With more than one copy it must be a file
  // that can be read again from its start.
  SheetSource(int descriptor, int copies);

  enum class Next {
    kSheet,
    kEnd,      // after the last sheet
    kInvalid,  // what follows is no valid sheet, or the stream ends inside one: see problem()
    kFailed,   // the stream cannot be read: see problem()
    kStopped,  // the request came while waiting for data
  };

  // One sheet is kept at a time, and what was read beyond it: less than a read's size.
  [[nodiscard]] Next next(Sheet& sheet, StopRequest& stop);

  [[nodiscard]] const std::string& problem() const { return problem_; }

 private:
  PrinterStreamParser new_parser();
  Next read_more(StopRequest& stop);
  Next end_of_copy();

  int descriptor_;
  int copies_left_;
  std::deque<Sheet> complete_;
  PrinterStreamParser parser_;
  std::string problem_;
};

}  // namespace k905::backend
