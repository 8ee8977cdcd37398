// Reads the serial number and the device ID of every USB printer from sysfs.

#include "device/usb_printers.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <string_view>
#include <system_error>

namespace k905 {

namespace {

// The device ID of the real printers is not known; its model field is expected to contain one of
// these names. The longest is first, because it contains the next.
constexpr std::array<std::string_view, 4> kModels{"RV-40W", "RV-40", "RS-30", "K905"};

std::string first_line(const std::filesystem::path& file) {
  std::ifstream stream(file);
  std::string line;
  std::getline(stream, line);
  return line;
}

// "MFG:...;MDL:K905;..." -> "K905"; the long form of the key is allowed too.
std::string_view model_field(std::string_view device_id) {
  for (const std::string_view key : {"MDL:", "MODEL:"}) {
    const bool first = device_id.starts_with(key);
    const std::size_t position = device_id.find(";" + std::string(key));
    if (first || position != std::string_view::npos) {
      const std::string_view value = device_id.substr((first ? 0 : position + 1) + key.size());
      return value.substr(0, value.find(';'));
    }
  }
  return "";
}

std::string known_model(std::string_view device_id) {
  const std::string_view field = model_field(device_id);
  const auto* found = std::find_if(kModels.begin(), kModels.end(), [field](std::string_view model) {
    return field.find(model) != std::string_view::npos;
  });
  return found == kModels.end() ? "" : std::string(*found);
}

std::vector<UsbPrinter> all_usb_printers(const UsbFolders& folders) {
  std::vector<UsbPrinter> printers;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folders.devices, error)) {
    const std::string name = entry.path().filename().string();
    if (!name.starts_with("lp")) {
      continue;
    }
    // "device" is the interface; the serial number belongs to the USB device above it.
    const std::filesystem::path interface = entry.path() / "device";
    const std::string device_id = first_line(interface / "ieee1284_id");
    printers.push_back({.path = (folders.files / name).string(),
                        .serial = first_line(interface / ".." / "serial"),
                        .device_id = device_id,
                        .model = known_model(device_id)});
  }
  std::sort(printers.begin(), printers.end(),
            [](const UsbPrinter& one, const UsbPrinter& other) { return one.path < other.path; });
  return printers;
}

}  // namespace

std::vector<UsbPrinter> connected_usb_printers(const UsbFolders& folders) {
  std::vector<UsbPrinter> printers = all_usb_printers(folders);
  std::erase_if(printers, [](const UsbPrinter& printer) { return printer.model.empty(); });
  return printers;
}

std::string usb_device_file(const std::string& serial, const UsbFolders& folders) {
  for (const UsbPrinter& printer : all_usb_printers(folders)) {
    if (printer.serial == serial) {
      return printer.path;
    }
  }
  return "";
}

}  // namespace k905
