// Finds the files of the color profiles that the settings name.
#pragma once

#include <array>
#include <span>

struct IccChoice {
  const char* choice;     // as a print dialog offers it
  const char* file_name;  // the profile it names
};

// Choice names in the order they are compared, ended by a pair of nulls.
extern const std::array<IccChoice, 8> icc_choice_to_filename;

// The folders that are searched for profiles, in this order. The working folder comes after those
// of macOS, /usr/local and Homebrew, and before the two of Linux distributions.
inline constexpr std::array<const char*, 6> icc_profile_folders{
    "/Library/ColorSync/Profiles/",   "/usr/local/share/color/icc/",
    "/opt/homebrew/share/color/icc/", "./",
    "/usr/share/color/icc/",          "/usr/share/color/icc/colord/",
};

// Appended in this order to every name, even to one that already ends in one of them.
inline constexpr std::array<const char*, 3> icc_profile_extensions{"", ".icc", ".icm"};

// The profile file name of an ICCProfile value: a choice of the table, or what is between
// "ICCPROFILE (" and the next ")". Newly allocated, the caller frees it with free(); null if the
// value is null (not logged), or if it contains no name or there is no memory (both logged).
[[nodiscard]] char* parse_icc_profile_name(const char* value);

// Looks for a profile file: an absolute path as given, then every profile folder with the name
// itself, the name plus ".icc" and the name plus ".icm". Copies the first that exists into `path`
// (truncated to its size minus one) and returns 1. Returns 0 and does not change `path` if there is
// none, or if `name` is null or empty. Only the copy is truncated, not the path that is searched.
[[nodiscard]] int find_icc_profile(const char* name, std::span<char, 512> path);
