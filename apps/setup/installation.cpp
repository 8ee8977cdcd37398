#include "apps/setup/installation.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "apps/base/text.h"
#include "device/printer_address.h"

namespace k905 {

namespace {

namespace fs = std::filesystem;

// The prefix to which this program was installed, with links to the program resolved; without
// /proc, the prefix of the package.
fs::path prefix() {
  std::error_code error;
  const fs::path self = fs::read_symlink("/proc/self/exe", error);
  return error ? fs::path("/usr") : self.parent_path().parent_path();
}

std::string names_of_backends() {
  std::set<std::string> names{"file"};
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(server_folder() + "/backend", error)) {
    names.insert(entry.path().filename().string());
  }
  std::string list;
  for (const std::string& name : names) {
    append_to_list(list, name);
  }
  return list;
}

}  // namespace

std::string server_folder() {
  if (const char* folder = std::getenv("CUPS_SERVERBIN")) {
    return folder;
  }
  return (prefix() / K905_CUPS_SERVERBIN).string();
}

std::string data_folder() {
  if (const char* folder = std::getenv("CUPS_DATADIR")) {
    return folder;
  }
  return (prefix() / K905_CUPS_DATADIR).string();
}

std::string reinstall_advice(const std::string& package) {
  std::error_code ignored;
  const bool packaged =
      prefix() == "/usr" && fs::exists("/var/lib/dpkg/info/rastertok905.list", ignored);
  return packaged ? "apt-get install --reinstall " + package : "cmake --install BUILD";
}

std::string scheme_of(const std::string& device_uri) {
  const std::size_t colon = device_uri.find(':');
  const std::string scheme = colon == std::string::npos ? "" : device_uri.substr(0, colon);
  const bool is_name = std::ranges::all_of(scheme, [](unsigned char letter) {
    return std::isalnum(letter) != 0 || letter == '-' || letter == '+' || letter == '.';
  });
  return is_name ? scheme : "";
}

std::optional<std::string> find_uri_problem(const std::string& device_uri) {
  const std::string scheme = scheme_of(device_uri);
  if (scheme.empty()) {
    return "\"" + device_uri +
           "\" is not a device URI such as k905://usb/SERIAL or k905://ADDRESS:9100";
  }
  if (scheme == "k905" && !parse_device_uri(device_uri)) {
    return "\"" + device_uri +
           "\" is not k905://usb/SERIAL, k905:/dev/usb/lp0 or k905://ADDRESS:9100";
  }
  std::error_code unreadable;
  const fs::path backend = fs::path(server_folder()) / "backend" / scheme;
  if (scheme != "file" && !fs::exists(backend, unreadable) && !unreadable) {
    return "the backend " + scheme + " is missing, so nothing can be sent to " + device_uri +
           "; known: " + names_of_backends();
  }
  return std::nullopt;
}

}  // namespace k905
