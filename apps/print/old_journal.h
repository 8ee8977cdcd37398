// The text file in which earlier versions noted what they had printed: taken over into the ledger.
#pragma once

#include <string>

#include "apps/print/ledger.h"

[[nodiscard]] bool is_old_journal(const std::string& path);

// Takes the journal of `folder` over and renames it to PATH.imported. True when there is none.
// False, with the reason in `error`, when it cannot be read: what it says was printed would be
// printed again.
[[nodiscard]] bool import_old_journal(const std::string& path, const std::string& folder,
                                      Ledger& ledger, std::string& error);
