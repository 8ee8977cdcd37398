// Decodes a photo in a child process with resource limits, so that a malformed file can neither
// crash the program nor exhaust the memory.
#pragma once

#include <optional>
#include <string>

#include "apps/layout/prepare.h"

namespace k905 {

// The error if the computer has too little free memory: a later attempt may succeed.
inline constexpr char kNotEnoughMemory[] = "not enough memory to decode the photo";

// The picture for the photo in the file `path` ("-" is standard input), prepared as prepare() does.
// Null on failure with one line in `error`, without the file's name: what Photo::open or the
// decoder reports, or that the photo needs more than 1 GiB of memory or two minutes of processor
// time. The child is this program, started again; it ends when this process ends.
[[nodiscard]] std::optional<PreparedPhoto> page_in_child(const std::string& path,
                                                         const SheetPlace& place,
                                                         const PrepareOptions& options,
                                                         std::string& error);

// To be called first in main(): if this process is such a child, makes the page and returns the
// exit status; otherwise returns null. libvips uses threads, so fork without exec is not possible.
[[nodiscard]] std::optional<int> make_page_as_child(int argc, char** argv);

}  // namespace k905
