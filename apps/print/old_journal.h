// Imports the text file in which earlier versions recorded printed photos.
#pragma once

#include <string>

#include "apps/print/ledger.h"

namespace k905 {

[[nodiscard]] bool is_old_journal(const std::string& path);

// Imports the journal of `folder` and renames it to PATH.imported. True if there is none. False,
// with the reason in `error`, if it cannot be read: its photos would be printed again.
[[nodiscard]] bool import_old_journal(const std::string& path, const std::string& folder,
                                      Ledger& ledger, std::string& error);

}  // namespace k905
