// The place of a user's ledger, and the lock of a watched folder.
#pragma once

#include <string>

#include "apps/base/descriptor.h"
#include "apps/print/ledger.h"

namespace k905 {

// The default ledger of a user, in the user's state folder, which is created if it is missing. ""
// with the reason in `error` if there is no place for it.
[[nodiscard]] std::string default_ledger(std::string& error);

// Opens the ledger and imports the journal of earlier versions for the folder. False with the
// reason in `error`.
[[nodiscard]] bool open_ledger(Ledger& ledger, const std::string& path, const std::string& folder,
                               std::string& error);

// One program at a time prints from a folder: a lock that ends with its owner.
struct FolderLock {
  enum class Result { taken, held_by_another, failed };
  [[nodiscard]] Result take(const std::string& ledger, const std::string& folder,
                            std::string& error);

  Descriptor file;
};

}  // namespace k905
