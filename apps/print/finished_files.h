// Moves the files of a watched folder after their photos were printed or refused, if the operator
// chose that.
#pragma once

#include <string>

#include "apps/print/ledger.h"

namespace k905 {

// Moves the file into a subfolder of the watched folder, which is created if it is missing. If a
// file with its name is there already, a number is added to the name. A `reason` is written to a
// text file next to it. A file that no longer matches `stamp` is not moved. False, with the reason
// in `error`, if it cannot be moved.
[[nodiscard]] bool move_finished_file(const std::string& folder, const std::string& name,
                                      const FileStamp& stamp, const std::string& into,
                                      const std::string& reason, std::string& error);

}  // namespace k905
