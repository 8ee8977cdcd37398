// Prints on a printer without a print system: pages through the filter, its sheets to the printer,
// which is asked before and after each.
#pragma once

#include <memory>

#include "apps/print/filter_destination.h"
#include "apps/print/printer_output.h"

namespace k905 {

// `target`: the printer as the ledger and the command line name it.
[[nodiscard]] std::unique_ptr<Destination> make_printer_destination(FilterDestinationSetup filter,
                                                                    PrinterOutputSetup printer,
                                                                    std::string target);

}  // namespace k905
