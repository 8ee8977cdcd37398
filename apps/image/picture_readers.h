// One reader per kind of file, private to this folder. Each reads from the current position of an
// open stream, returns null on failure and then fills `error`.
#pragma once

#include <cstdio>
#include <optional>
#include <string>

#include "apps/image/read_picture.h"

[[nodiscard]] std::optional<Picture> read_png(std::FILE* file, std::string& error);
[[nodiscard]] std::optional<Picture> read_jpeg(std::FILE* file, Inks inks, std::string& error);
[[nodiscard]] std::optional<Picture> read_pnm(std::FILE* file, std::string& error);

// True when the size can be read; otherwise names it in `error`.
[[nodiscard]] bool size_is_sound(std::uint64_t width, std::uint64_t height, std::string& error);

// Takes memory for all samples of the picture, whose size and channels are known, at once: a vector
// that grows needs up to three times as much. The system provides it only as rows arrive. False,
// with `error`, when they and `decoder_bytes` are more than kMostReadingBytes.
[[nodiscard]] bool reserve_samples(Picture& picture, std::uint64_t decoder_bytes,
                                   std::string& error);

// Whether the bytes are a profile for the colour space of that four-letter name.
[[nodiscard]] bool is_profile_for(const std::vector<std::uint8_t>& profile, const char* space);

// Drops an embedded profile that is not for pictures of this many channels.
void keep_fitting_profile(Picture& picture);
