// What happens to a file of a watched folder when its photo is printed or refused, where the
// operator wants the folder to be emptied.
#pragma once

#include <string>

#include "apps/print/ledger.h"

// Moves the file into that folder of the watched one, which is created when it is not there, under
// its own name or, where that is taken, with a number. A `reason` is written to a text file beside
// it. A file that is no longer the one of `stamp` stays. False, with the reason in `error`, when it
// cannot be moved.
[[nodiscard]] bool move_finished_file(const std::string& folder, const std::string& name,
                                      const FileStamp& stamp, const std::string& into,
                                      const std::string& reason, std::string& error);
