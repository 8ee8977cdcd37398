// Device URIs and names of printers.

#include "device/printer_address.h"

#include <algorithm>
#include <charconv>

#include "device/percent.h"

namespace k905 {

namespace {

constexpr std::string_view kScheme = "k905:";
constexpr std::string_view kUsbHost = "usb";

bool is_port(std::string_view text) {
  unsigned number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc{} && end == text.data() + text.size() && number >= 1 && number <= 65535;
}

// HOST, HOST:PORT, [ADDRESS], [ADDRESS]:PORT
std::optional<PrinterAddress> network_address(std::string_view text) {
  std::string_view host = text;
  std::string_view port = kDefaultPort;
  const std::size_t bracket = text.starts_with('[') ? text.find(']') : 0;
  if (bracket == std::string_view::npos) {
    return std::nullopt;
  }
  const std::size_t colon = text.find(':', bracket);
  if (colon != std::string_view::npos) {
    host = text.substr(0, colon);
    port = text.substr(colon + 1);
  }
  if (host.starts_with('[')) {
    if (!host.ends_with(']')) {
      return std::nullopt;
    }
    host = host.substr(1, host.size() - 2);
  }
  if (host.empty() || !is_port(port)) {
    return std::nullopt;
  }
  return PrinterAddress{
      .kind = PrinterAddress::Kind::kNetwork, .name = std::string(host), .port = std::string(port)};
}

PrinterAddress named(PrinterAddress::Kind kind, std::string name) {
  return {.kind = kind, .name = std::move(name), .port = ""};
}

}  // namespace

std::optional<PrinterAddress> parse_printer_name(std::string_view text) {
  if (text.empty()) {
    return std::nullopt;
  }
  if (text.find('/') != std::string_view::npos) {
    return named(PrinterAddress::Kind::kPath, std::string(text));
  }
  if (text.find(':') != std::string_view::npos) {
    return network_address(text);
  }
  return named(PrinterAddress::Kind::kSerial, std::string(text));
}

std::optional<PrinterAddress> parse_device_uri(std::string_view uri) {
  if (!uri.starts_with(kScheme)) {
    return std::nullopt;
  }
  std::string_view rest = uri.substr(kScheme.size());
  rest = rest.substr(0, rest.find('?'));
  if (!rest.starts_with("//")) {
    const std::optional<std::string> path = percent_decoded(rest);
    return path && path->starts_with('/') ? std::optional(named(PrinterAddress::Kind::kPath, *path))
                                          : std::nullopt;
  }
  rest.remove_prefix(2);
  const std::size_t slash = rest.find('/');
  const std::string_view host = rest.substr(0, slash);
  const std::string_view path = slash == std::string_view::npos ? "" : rest.substr(slash + 1);
  if (host == kUsbHost) {
    const std::optional<std::string> serial = percent_decoded(path);
    return serial && !serial->empty() ? std::optional(named(PrinterAddress::Kind::kSerial, *serial))
                                      : std::nullopt;
  }
  return path.empty() ? network_address(host) : std::nullopt;
}

std::optional<std::string> device_uri_option(std::string_view uri, std::string_view name) {
  const std::size_t mark = uri.find('?');
  std::string_view rest = mark == std::string_view::npos ? "" : uri.substr(mark + 1);
  while (!rest.empty()) {
    const std::string_view pair = rest.substr(0, rest.find('&'));
    rest.remove_prefix(std::min(pair.size() + 1, rest.size()));
    const std::size_t equals = pair.find('=');
    if (pair.substr(0, equals) == name) {
      return equals == std::string_view::npos ? "" : percent_decoded(pair.substr(equals + 1));
    }
  }
  return std::nullopt;
}

std::string usb_device_uri(std::string_view serial) {
  return "k905://usb/" + percent_encoded(serial);
}

std::string to_string(const PrinterAddress& address) {
  return address.kind == PrinterAddress::Kind::kNetwork ? address.name + ":" + address.port
                                                        : address.name;
}

}  // namespace k905
