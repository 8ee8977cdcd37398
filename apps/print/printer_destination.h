// Prints on a printer without a print system: pages pass through the filter, and its sheets go to
// the printer, which is asked before and after each.
#pragma once

#include <memory>

#include "apps/print/filter_destination.h"
#include "apps/print/printer_output.h"

namespace k905 {

[[nodiscard]] std::unique_ptr<Destination> make_printer_destination(FilterDestinationSetup filter,
                                                                    PrinterOutputSetup printer);

}  // namespace k905
