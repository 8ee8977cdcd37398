// Where the ledger of a user is, and who may print from a folder.
#pragma once

#include <string>

#include "apps/base/descriptor.h"
#include "apps/print/ledger.h"

namespace k905 {

// The usual ledger of a user: in the user's state folder, which is created when it is not there. ""
// with the reason in `error` when there is no place for it.
[[nodiscard]] std::string usual_ledger(std::string& error);

// Opens the ledger and takes over what earlier versions noted about the folder. False with the
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
