// What the ledger says for people: the history, and a sheet ordered once more.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "apps/print/ledger.h"

// A line: number, time, outcome, file, and where it was printed.
[[nodiscard]] std::string history_line(const SheetEntry& sheet);

// Orders another print of that sheet's photo, which waits in the ledger then; the name in the
// result is where the file is now. Nothing, with the reason in `error`, when the file is not there
// or has other bytes.
[[nodiscard]] std::optional<SheetEntry> order_again(Ledger& ledger, SheetEntry sheet,
                                                    std::string& error);
