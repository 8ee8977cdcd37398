// The history of the ledger as text, and reprints of its sheets.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "apps/print/ledger.h"

namespace k905 {

// A line: number, time, outcome, file, where it was printed, and the printer if it was asked.
[[nodiscard]] std::string history_line(const SheetEntry& sheet);

// Orders `copies` more sheets of the photo on that sheet; they then wait in the ledger. The result
// is the sheet with the current name of the file. Null, with the reason in `error`, if the file is
// missing or was changed.
[[nodiscard]] std::optional<SheetEntry> order_reprint(Ledger& ledger, SheetEntry sheet, int copies,
                                                      std::string& error);

}  // namespace k905
