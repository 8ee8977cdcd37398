#include "apps/setup/device_address.h"

#include <algorithm>
#include <string_view>

#include "apps/setup/installation.h"
#include "device/printer_address.h"

namespace k905 {

namespace {

constexpr char kUsbPrinters[] = "/dev/usb/lp";

std::string k905_path(const std::string& path) {
  std::string uri = "k905:";
  for (const char c : path) {
    uri += c == '%' ? "%25" : c == '?' ? "%3F" : std::string(1, c);
  }
  return uri;
}

// The serial number in the device ID. CUPS uses it in a usb:// URI; the backend k905 uses the
// serial number of the USB device instead.
std::string serial_in(const std::string& device_id) {
  for (const std::string key : {"SERIALNUMBER:", "SERN:", "SN:"}) {
    const std::string fields = ";" + device_id;
    const std::size_t place = fields.find(";" + key);
    if (place != std::string::npos) {
      const std::string value = fields.substr(place + 1 + key.size());
      return value.substr(0, value.find(';'));
    }
  }
  return "";
}

std::optional<std::string> usb_printer(const std::string& uri,
                                       const std::vector<ConnectedDevice>& connected) {
  std::vector<ConnectedDevice> ours = connected;
  std::erase_if(ours,
                [](const ConnectedDevice& device) { return scheme_of(device.uri) != "k905"; });
  const auto serial = device_uri_option(uri, "serial");
  if (!serial || serial->empty()) {
    return ours.size() == 1 ? std::optional(ours.front().uri) : std::nullopt;
  }
  const std::string by_serial = usb_device_uri(*serial);
  const auto has_this_serial = [&](const ConnectedDevice& device) {
    return serial_in(device.device_id) == *serial;
  };
  if (std::ranges::find(ours, by_serial, &ConnectedDevice::uri) == ours.end()) {
    if (const auto found = std::ranges::find_if(ours, has_this_serial); found != ours.end()) {
      return found->uri;
    }
  }
  return by_serial;
}

std::optional<std::string> network_printer(const std::string& uri) {
  const std::size_t slashes = uri.find("://");
  const std::string rest = slashes == std::string::npos ? "" : uri.substr(slashes + 3);
  const std::string authority = rest.substr(0, rest.find_first_of("/?"));
  const std::string ours = "k905://" + authority.substr(authority.rfind('@') + 1);
  return parse_device_uri(ours) ? std::optional(ours) : std::nullopt;
}

}  // namespace

bool is_device_file(const std::string& device) { return device.starts_with("/dev/"); }

bool uses_other_backend(const std::string& uri) {
  const std::string scheme = scheme_of(uri);
  return scheme == "usb" || scheme == "socket" ||
         (scheme == "file" && uri.find(kUsbPrinters) != std::string::npos);
}

std::optional<std::string> k905_uri_of(const std::string& device,
                                       const std::vector<ConnectedDevice>& connected) {
  const std::string scheme = scheme_of(device);
  if (is_device_file(device)) {
    return k905_path(device);
  }
  if (scheme == "k905") {
    return parse_device_uri(device) ? std::optional(device) : std::nullopt;
  }
  if (scheme == "usb") {
    return usb_printer(device, connected);
  }
  if (scheme == "socket") {
    return network_printer(device);
  }
  const std::size_t path = device.find(kUsbPrinters);
  return scheme == "file" && path != std::string::npos
             ? std::optional(k905_path(device.substr(path)))
             : std::nullopt;
}

}  // namespace k905
