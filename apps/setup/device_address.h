// Converts device addresses to the backend k905, which asks the printer before each sheet and
// finishes the current sheet when the scheduler stops. The backends usb and socket do neither.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace k905 {

struct ConnectedDevice {
  std::string uri;
  std::string device_id{};  // IEEE 1284
};

// Whether the text is a device file, which a user may give instead of a URI.
[[nodiscard]] bool is_device_file(const std::string& device);

// Whether the address uses another backend of CUPS, although the backend k905 may reach the printer
// too: usb://..., socket://... and file:///dev/usb/...
[[nodiscard]] bool uses_other_backend(const std::string& uri);

// The URI on the backend k905 of the printer at `device`: usb://..., socket://..., file:///dev/...,
// a device file or a URI of k905 itself. `connected` holds the connected devices, as far as they
// are known; without them a usb:// URI must have a serial number. Nothing when there is no
// equivalent.
[[nodiscard]] std::optional<std::string> k905_uri_of(const std::string& device,
                                                     const std::vector<ConnectedDevice>& connected);

}  // namespace k905
