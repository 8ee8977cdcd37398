// The address of a printer: a device file, a USB serial number, or a host and port.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace k905 {

struct PrinterAddress {
  enum class Kind { kPath, kSerial, kNetwork };
  Kind kind = Kind::kPath;
  std::string name;  // path, serial number or host
  std::string port;  // network only; decimal

  bool operator==(const PrinterAddress&) const = default;
};

inline constexpr char kDefaultPort[] = "9100";

// Parses an address from a command line: a text with "/" is a path, NAME:PORT is a host and port
// (an IPv6 address in brackets), anything else is a serial number. Nothing for an empty text and
// for a port that is not 1 to 65535.
[[nodiscard]] std::optional<PrinterAddress> parse_printer_name(std::string_view text);

// A device URI of the print system without its options (what follows "?"):
//   k905://usb/SERIAL   k905:/dev/usb/lp0   k905://HOST   k905://HOST:PORT
// Percent escapes are decoded. Nothing when it is none of these.
[[nodiscard]] std::optional<PrinterAddress> parse_device_uri(std::string_view uri);

// The value of an option of a device URI ("...?NAME=VALUE&..."), nothing if it is missing.
[[nodiscard]] std::optional<std::string> device_uri_option(std::string_view uri,
                                                           std::string_view name);

// The device URI of the USB printer with this serial number.
[[nodiscard]] std::string usb_device_uri(std::string_view serial);

// For messages and file names: "/dev/usb/lp0", "K9051234", "printer.local:9100".
[[nodiscard]] std::string to_string(const PrinterAddress& address);

}  // namespace k905
