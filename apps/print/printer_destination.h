// Prints on a printer without a print system: pages pass through the filter, and its sheets go to
// the printer, which is asked before and after each.
#pragma once

#include <memory>

#include "apps/print/filter_destination.h"
#include "apps/print/printer_output.h"

namespace k905 {

// `target`: the name of the printer in the ledger and on the command line.
[[nodiscard]] std::unique_ptr<Destination> make_printer_destination(FilterDestinationSetup filter,
                                                                    PrinterOutputSetup printer,
                                                                    std::string target);

}  // namespace k905
