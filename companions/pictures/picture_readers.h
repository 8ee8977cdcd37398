// One reader per kind of file, private to this folder. Each reads from the current position of an
// open stream, returns null on failure and then fills `error`.
#pragma once

#include <cstdio>
#include <optional>
#include <string>

#include "companions/pictures/picture.h"

[[nodiscard]] std::optional<Picture> read_png(std::FILE* file, std::string& error);
[[nodiscard]] std::optional<Picture> read_jpeg(std::FILE* file, std::string& error);
[[nodiscard]] std::optional<Picture> read_pnm(std::FILE* file, std::string& error);

// True when the size can be read; otherwise names it in `error`.
[[nodiscard]] bool size_is_sound(std::uint64_t width, std::uint64_t height, std::string& error);

// Drops an embedded profile that is not for pictures of this many channels.
void keep_fitting_profile(Picture& picture);
