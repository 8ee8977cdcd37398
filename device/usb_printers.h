// The printers that the kernel's USB printer driver shows.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace k905 {

struct UsbPrinter {
  std::string path;       // "/dev/usb/lp0"
  std::string serial;     // of the USB device, "" when it has none
  std::string device_id;  // IEEE 1284
  std::string model;      // the name in the device id that made it one of ours
};

// Where the kernel lists devices and where their files are; tests have their own.
struct UsbFolders {
  std::filesystem::path devices = "/sys/class/usbmisc";
  std::filesystem::path files = "/dev/usb";
};

// The connected printers whose device id names a model of this family, ordered by path.
[[nodiscard]] std::vector<UsbPrinter> connected_usb_printers(const UsbFolders& folders = {});

// The device file of the printer-class device with this serial number, of whatever model; "" when
// it is not connected.
[[nodiscard]] std::string usb_device_file(const std::string& serial,
                                          const UsbFolders& folders = {});

}  // namespace k905
