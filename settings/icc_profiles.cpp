#include "settings/icc_profiles.h"

#include <sys/stat.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "diag/log.h"
#include "settings/option_values.h"

constexpr std::array<IccChoice, 8> icc_choice_to_filename{{
    {"sRGB", "sRGB.icc"},
    {"AdobeRGB", "AdobeRGB1998.icc"},
    {"AppleRGB", "AppleRGB.icc"},
    {"PhotoRGB", "PhotoRGB.icc"},
    {"K905RGB", "pm-905-wd-251126-5.icm"},  // the K905 itself
    {"PM-RV", "pm-rv-wd-251202-5.icm"},     // RV-40
    {"PM-RS", "pm-rs-wd-251125-2.icm"},     // RS-30
    {nullptr, nullptr},
}};

namespace {

constexpr char kMarker[] = "ICCPROFILE (";

// No system call takes a longer path, terminator included: a candidate that does not fit here
// cannot exist.
constexpr std::size_t kPathCapacity = 4096;

bool exists(const char* path) {
  struct stat status;
  return stat(path, &status) == 0;
}

// A copy of `length` characters on the heap; null, which is logged, if there is no memory.
char* duplicate_name(const char* text, std::size_t length) {
  char* name = static_cast<char*>(std::malloc(length + 1));
  if (name == nullptr) {
    log_line("K905-1: Failed to allocate memory for ICC profile name");
    return nullptr;
  }
  std::memcpy(name, text, length);
  name[length] = '\0';
  return name;
}

// The file name for a choice of the print dialog, or null.
const char* file_name_of_choice(const char* value) {
  for (const IccChoice& row : icc_choice_to_filename) {
    if (row.choice != nullptr && std::strcmp(value, row.choice) == 0) {
      return row.file_name;
    }
  }
  return nullptr;
}

char* extract_marked_name(const char* value) {
  const char* marker = std::strstr(value, kMarker);
  if (marker == nullptr) {
    log_line("K905-1: ICCPROFILE marker not found, not a known choice name");
    return nullptr;
  }
  const char* begin = marker + std::strlen(kMarker);
  const char* end = std::strchr(begin, ')');
  if (end == nullptr) {
    log_line("K905-1: ICCPROFILE closing parenthesis not found");
    return nullptr;
  }
  if (end == begin) {
    log_line("K905-1: ICCPROFILE name is empty");
    return nullptr;
  }
  char* name = duplicate_name(begin, static_cast<std::size_t>(end - begin));
  if (name != nullptr) {
    log_line("K905-1: Extracted ICC profile name: %s", name);
  }
  return name;
}

// Writes the first existing candidate in `folder` to `candidate`; false when there is none.
bool find_in_folder(const char* folder, const char* name,
                    std::span<char, kPathCapacity> candidate) {
  for (const char* extension : icc_profile_extensions) {
    const int length =
        std::snprintf(candidate.data(), candidate.size(), "%s%s%s", folder, name, extension);
    const bool fits = length > 0 && static_cast<std::size_t>(length) < candidate.size();
    if (fits && exists(candidate.data())) {
      return true;
    }
  }
  return false;
}

}  // namespace

char* parse_icc_profile_name(const char* value) {
  if (value == nullptr) {
    return nullptr;
  }
  log_line("K905-1: Parsing ICC option value: %s", value);
  if (const char* file_name = file_name_of_choice(value)) {
    log_line("K905-1: Mapped choice to file: %s", file_name);
    return duplicate_name(file_name, std::strlen(file_name));
  }
  return extract_marked_name(value);
}

int find_icc_profile(const char* name, std::span<char, 512> path) {
  if (name == nullptr || name[0] == '\0') {
    return 0;
  }
  log_line("K905-1: Searching for ICC profile: %s", name);
  if (name[0] == '/' && exists(name)) {
    // Logged first, because `name` may be the field that is overwritten.
    log_line("K905-1: Found ICC profile at absolute path: %s", name);
    copy_text(path, name);
    return 1;
  }
  char candidate[kPathCapacity];
  for (const char* folder : icc_profile_folders) {
    if (find_in_folder(folder, name, candidate)) {
      copy_text(path, candidate);
      log_line("K905-1: Found ICC profile at: %s", candidate);
      return 1;
    }
  }
  log_line("K905-1: ICC profile not found: %s", name);
  return 0;
}
