// A photo decoded in a child process with limits, so that a malformed file can neither crash the
// program that prints nor exhaust the machine's memory.
#pragma once

#include <optional>
#include <string>

#include "apps/layout/prepare.h"

namespace k905 {

// The error of a photo that may be printed when the machine has more memory to spare.
inline constexpr char kNotEnoughMemory[] = "not enough memory to decode the photo";

// The picture for the photo in the file `path` ("-" is standard input), prepared as prepare() does.
// Null on failure with one line in `error`, without the file's name: what Photo::open or the
// decoder reports, or that the photo needs more than 1 GiB of memory or two minutes of processor
// time. The child is this program, started again; it ends when this process ends.
[[nodiscard]] std::optional<Prepared> page_in_child(const std::string& path,
                                                    const SheetPlace& place,
                                                    const Preparation& options, std::string& error);

// For main(), before anything else: makes the page and returns the exit status when this process is
// such a child; otherwise null. libvips uses threads, so a plain fork would not do.
[[nodiscard]] std::optional<int> make_page_as_child(int argc, char** argv);

}  // namespace k905
