#include "apps/base/find_filter.h"

#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <vector>

namespace {

constexpr char kFilterName[] = "/rastertok905";

std::string folder_of_this_program() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
  if (length <= 0) {
    return "";
  }
  const std::string self(path, static_cast<std::size_t>(length));
  return self.substr(0, self.rfind('/'));
}

std::vector<std::string> filter_folders() {
  std::vector<std::string> folders;
  const std::string own = folder_of_this_program();
  if (!own.empty()) {
    folders.push_back(own);
    folders.push_back(own.substr(0, own.rfind('/')) + "/" K905_FILTER_FOLDER);
  }
  if (const char* server = std::getenv("CUPS_SERVERBIN")) {
    folders.push_back(std::string(server) + "/filter");
  }
  folders.emplace_back("/usr/lib/cups/filter");
  folders.emplace_back("/usr/libexec/cups/filter");
  return folders;
}

}  // namespace

std::string find_filter() {
  if (const char* chosen = std::getenv("K905_FILTER")) {
    return chosen;
  }
  for (const std::string& folder : filter_folders()) {
    if (access((folder + kFilterName).c_str(), X_OK) == 0) {
      return folder + kFilterName;
    }
  }
  return "";
}
