// Prints without a print system: pages pass through the filter, and its output goes to a file, to a
// device, or as sheets to a callback.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "apps/print/destination.h"
#include "apps/wire/printer_stream.h"

namespace k905 {

struct FilterDestinationSetup {
  Choices choices;
  std::string filter;     // the program
  std::string to;         // file or device; empty: only the callback
  bool append = false;    // to a regular file; after the first completed job all jobs append
  bool show_log = false;  // the filter's log on standard error
  // Called with each sheet, from another thread, and for the last time before end() returns.
  // Returns why the job failed, or "".
  std::function<std::string(const Sheet&)> on_sheet;
};

[[nodiscard]] std::unique_ptr<Destination> make_filter_destination(FilterDestinationSetup setup);

}  // namespace k905
