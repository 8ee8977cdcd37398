// The USB printers that the kernel's printer driver has found.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace k905 {

struct UsbPrinter {
  std::string path;       // "/dev/usb/lp0"
  std::string serial;     // of the USB device, "" if it has none
  std::string device_id;  // IEEE 1284
  std::string model;      // the model name found in the device ID
};

// The folders in which the kernel lists devices and their files; tests use their own.
struct UsbFolders {
  std::filesystem::path devices = "/sys/class/usbmisc";
  std::filesystem::path files = "/dev/usb";
};

// The connected printers of this family according to their device ID, ordered by path.
[[nodiscard]] std::vector<UsbPrinter> connected_usb_printers(const UsbFolders& folders = {});

// The device file of the printer-class device with this serial number, of any model; "" if it is
// not connected.
[[nodiscard]] std::string usb_device_file(const std::string& serial,
                                          const UsbFolders& folders = {});

}  // namespace k905
