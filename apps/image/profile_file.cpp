#include "apps/image/profile_file.h"

#include <filesystem>

#include "settings/icc_profiles.h"

namespace {

bool exists(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::exists(path, ignored);
}

}  // namespace

std::string find_profile_file(const std::string& name) {
  if (name.empty()) {
    return "";
  }
  if (name.front() == '/' && exists(name)) {
    return name;
  }
  for (const char* folder : icc_profile_folders) {
    for (const char* ending : icc_profile_endings) {
      std::string candidate = folder + name + ending;
      if (exists(candidate)) {
        return candidate;
      }
    }
  }
  return "";
}
