// From the names of color profiles in settings to files.
#pragma once

#include <array>
#include <span>

struct IccChoice {
  const char* choice;     // as a print dialog offers it
  const char* file_name;  // the profile it names
};

// Choice names in the order they are compared, ended by a pair of nulls.
extern const std::array<IccChoice, 8> icc_choice_to_filename;

// Where profiles are looked for: installed ones come before those in the folder the filter
// was started in; the two places where Linux systems keep theirs come last.
inline constexpr std::array<const char*, 6> icc_profile_folders{
    "/Library/ColorSync/Profiles/",   "/usr/local/share/color/icc/",
    "/opt/homebrew/share/color/icc/", "./",
    "/usr/share/color/icc/",          "/usr/share/color/icc/colord/",
};

// Appended in this order to every name, also to one that ends in one of them already.
inline constexpr std::array<const char*, 3> icc_profile_endings{"", ".icc", ".icm"};

// The profile file name of an ICCProfile value: a choice of the table, or what is
// between "ICCPROFILE (" and the next ")". Newly allocated, the caller frees it with free(); null
// when the value is null (silently), names nothing, or memory is short (logged).
[[nodiscard]] char* parse_icc_profile_name(const char* value);

// Looks for a profile file: an absolute path as it is, then every profile folder with the name
// itself, the name plus ".icc" and the name plus ".icm". Copies the first that exists into `path`
// (cut to its size less one) and returns 1; returns 0 and leaves `path` alone when there is none,
// or when `name` is null or empty. The name is never shortened, however long.
[[nodiscard]] int find_icc_profile(const char* name, std::span<char, 512> path);
