// Shows the ledger to users: the history, and reprints.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "apps/print/ledger.h"

// A line: number, time, outcome, file, where it was printed, and the printer if it was asked.
[[nodiscard]] std::string history_line(const SheetEntry& sheet);

// Orders so many more sheets of the photo of that sheet, which then wait in the ledger; the name in
// the result is the current path of the file. Null, with the reason in `error`, if the file is
// missing or was changed.
[[nodiscard]] std::optional<SheetEntry> order_reprint(Ledger& ledger, SheetEntry sheet, int copies,
                                                      std::string& error);
