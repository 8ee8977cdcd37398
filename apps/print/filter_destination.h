// Prints without a print system: pages through the filter, its stream to a file, a device or, as
// sheets, to whoever wants to see them.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "apps/print/destination.h"
#include "apps/wire/printer_stream.h"

struct FilterDestinationSetup {
  Choices choices;
  std::string filter;     // the program
  std::string to;         // file or device; empty: only the sheets are wanted
  bool append = false;    // to a regular file; the second job always appends
  bool show_log = false;  // the filter's log on standard error
  // Gets each sheet as it was made, from another thread, all of them before end() returns. What it
  // returns is why the job failed, or "".
  std::function<std::string(const Sheet&)> on_sheet;
};

[[nodiscard]] std::unique_ptr<Destination> make_filter_destination(FilterDestinationSetup setup);
