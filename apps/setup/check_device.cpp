#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

#include "apps/setup/check.h"
#include "apps/setup/installation.h"

namespace k905 {

namespace {

// A print server answers at once or not at all; one that is just being started is given this time.
constexpr std::chrono::seconds kConnectLimit{3};

struct DeviceAddress {
  std::string host;  // "" when the URI names none
  int port = 0;
  std::string path;
};

// "scheme:/path?options" as well as "scheme://host:port/path".
DeviceAddress parse(const std::string& uri) {
  std::array<char, 64> scheme{};
  std::array<char, HTTP_MAX_URI> user{};
  std::array<char, HTTP_MAX_URI> host{};
  std::array<char, HTTP_MAX_URI> resource{};
  int port = 0;
  httpSeparateURI(HTTP_URI_CODING_ALL, uri.c_str(), scheme.data(), scheme.size(), user.data(),
                  user.size(), host.data(), host.size(), &port, resource.data(), resource.size());
  const std::string path = resource.data();
  return {host.data(), port, path.substr(0, path.find('?'))};
}

bool accepts_connections(const DeviceAddress& address) {
  const std::string service = std::to_string(address.port);
  http_addrlist_t* addresses = httpAddrGetList(address.host.c_str(), AF_UNSPEC, service.c_str());
  int connection = -1;
  const auto until = std::chrono::steady_clock::now() + kConnectLimit;
  while (addresses != nullptr && connection < 0 && std::chrono::steady_clock::now() < until) {
    const auto left = until - std::chrono::steady_clock::now();
    const auto left_ms = std::chrono::duration_cast<std::chrono::milliseconds>(left).count();
    if (httpAddrConnect2(addresses, &connection, static_cast<int>(left_ms) + 1, nullptr) ==
        nullptr) {
      connection = -1;
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
  }
  httpAddrFreeList(addresses);
  if (connection >= 0) {
    close(connection);
  }
  return connection >= 0;
}

void check_network(const std::string& uri, const DeviceAddress& address, Findings& findings) {
  if (accepts_connections(address)) {
    findings.ok("the device " + uri + " accepts connections");
  } else {
    findings.problem(uri + " does not answer",
                     "switch the printer or its print server on, and check address and port");
  }
}

// Opened, because a device file can stay when its printer is gone.
std::string why_not_open(const std::string& path) {
  const int device = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (device >= 0) {
    close(device);
    return "";
  }
  // In use by another program, or not for this user: it exists.
  return errno == EBUSY || errno == EACCES || errno == EPERM ? "" : std::strerror(errno);
}

void check_file(const std::string& queue, const std::string& uri, const std::string& path,
                Findings& findings) {
  struct stat status {};
  const bool exists = stat(path.c_str(), &status) == 0;
  if (path == "/dev/null") {
    findings.problem("the device is " + uri + ", which discards every job",
                     "lpadmin -p " + queue + " -v URI; k905-setup --list shows the devices");
  } else if (path.starts_with("/dev/") || (exists && S_ISCHR(status.st_mode))) {
    const std::string reason = why_not_open(path);
    if (reason.empty()) {
      findings.ok("the device " + uri + " is connected");
    } else {
      findings.problem("the device " + path + " cannot be opened: " + reason,
                       "switch the printer on and plug it in; k905-setup --list shows the devices");
    }
  } else {
    findings.note("the queue prints into the file " + path + ", not to a printer");
  }
}

void check_usb(Scheduler& scheduler, const std::string& uri, Findings& findings) {
  std::vector<std::string> devices;
  if (const auto reason = scheduler.list_devices(scheme_of(uri), devices)) {
    findings.note("the device is " + uri + "; whether it is connected is not known: " + *reason);
  } else if (std::ranges::find(devices, uri) != devices.end()) {
    findings.ok("the device " + uri + " is connected");
  } else {
    findings.problem(uri + " is not connected",
                     "switch the printer on and plug it in; k905-setup --list shows the devices");
  }
}

}  // namespace

void check_device(Scheduler& scheduler, const std::string& queue, const QueueState& state,
                  Findings& findings) {
  const std::string& device_uri = state.device_uri;
  const std::string scheme = scheme_of(device_uri);
  if (const auto reason = why_not_usable(device_uri)) {
    findings.problem(
        *reason,
        "apt-get install cups, or give the queue another device: lpadmin -p " + queue + " -v URI");
    return;
  }
  const DeviceAddress address = parse(device_uri);
  const bool is_file_scheme = scheme == "file" || scheme == "serial" || scheme == "parallel";
  if (state.printing) {
    findings.ok("the device " + device_uri + " is in use");
  } else if (scheme == "usb" || device_uri.starts_with("k905://usb/")) {
    check_usb(scheduler, device_uri, findings);
  } else if (is_file_scheme || address.path.starts_with("/dev/")) {
    check_file(queue, device_uri, address.path, findings);
  } else if (!address.host.empty() && address.port > 0) {
    check_network(device_uri, address, findings);
  } else {
    findings.ok("the device is " + device_uri);
  }
}

}  // namespace k905
