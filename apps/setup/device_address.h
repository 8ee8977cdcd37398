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

// Whether the text is the path of a device file (/dev/...), which a user may give instead of a URI.
[[nodiscard]] bool is_device_file(const std::string& device);

// Whether the address uses a backend of CUPS itself, although the backend k905 may reach the
// printer too: usb://..., socket://... and file:///dev/usb/...
[[nodiscard]] bool uses_other_backend(const std::string& uri);

// The URI with which the backend k905 reaches the printer at `device`, which is a usb://,
// socket://, file:///dev/... or k905 URI or the path of a device file. `connected` holds the
// connected devices, as far as they are known; without them a usb:// URI must have a serial number.
// Nothing if the backend k905 cannot reach such a device.
[[nodiscard]] std::optional<std::string> k905_uri_of(const std::string& device,
                                                     const std::vector<ConnectedDevice>& connected);

}  // namespace k905
