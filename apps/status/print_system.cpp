// One request for all queues, and the meaning of their device URIs.

#include "apps/status/print_system.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>

#include "apps/base/cups_handles.h"
#include "device/usb_printers.h"

namespace k905 {

namespace {

// The scheduler is usually on this machine.
constexpr int kConnectMs = 2000;

std::string text_of(ipp_attribute_t* attribute, int index = 0) {
  if (ippGetValueTag(attribute) == IPP_TAG_STRING) {
    int size = 0;
    const void* bytes = ippGetOctetString(attribute, index, &size);
    return bytes == nullptr
               ? ""
               : std::string(static_cast<const char*>(bytes), static_cast<std::size_t>(size));
  }
  const char* text = ippGetString(attribute, index, nullptr);
  return text == nullptr ? "" : text;
}

void read_attribute(ipp_attribute_t* attribute, Queue& queue) {
  const std::string_view name = ippGetName(attribute);
  if (name == "printer-name") {
    queue.name = text_of(attribute);
  } else if (name == "device-uri") {
    queue.device_uri = text_of(attribute);
  } else if (name == "printer-state") {
    queue.printing = ippGetInteger(attribute, 0) == IPP_PSTATE_PROCESSING;
  } else if (name == "printer-state-message") {
    queue.message = text_of(attribute);
  } else if (name == "printer-alert") {
    queue.note = text_of(attribute);
  } else if (name == "member-names") {
    for (int i = 0; i < ippGetCount(attribute); ++i) {
      queue.members.push_back(text_of(attribute, i));
    }
  }
}

// The path in "SCHEME:/PATH", "SCHEME://PATH" and "SCHEME:///PATH", without anything after a "?".
std::string path_in(const std::string& uri) {
  const std::size_t colon = uri.find(':');
  if (colon == std::string::npos) {
    return "";
  }
  std::string path = uri.substr(colon + 1, uri.find('?') - colon - 1);
  while (path.starts_with("//")) {
    path.erase(0, 1);
  }
  return path;
}

PrinterAddress named(PrinterAddress::Kind kind, std::string name) {
  return {.kind = kind, .name = std::move(name), .port = ""};
}

// Empty for a printer that has none here.
std::filesystem::path device_file(const PrinterAddress& address) {
  if (address.kind == PrinterAddress::Kind::kNetwork) {
    return "";
  }
  const std::string file =
      address.kind == PrinterAddress::Kind::kSerial ? usb_device_file(address.name) : address.name;
  std::error_code ignored;
  const std::filesystem::path real = std::filesystem::canonical(file, ignored);
  return ignored ? std::filesystem::path(file) : real;
}

}  // namespace

std::vector<Queue> all_queues() {
  std::vector<Queue> queues;
  const Http http = connect_to_scheduler(kConnectMs);
  if (!http) {
    return queues;
  }
  constexpr auto kWanted =
      std::to_array<const char*>({"printer-name", "device-uri", "printer-state",
                                  "printer-state-message", "printer-alert", "member-names"});
  ipp_t* request = ippNewRequest(IPP_OP_CUPS_GET_PRINTERS);
  ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes",
                static_cast<int>(kWanted.size()), nullptr, kWanted.data());
  const Ipp answer(cupsDoRequest(http.get(), request, "/"));
  bool in_queue = false;
  ipp_attribute_t* attribute = answer ? ippFirstAttribute(answer.get()) : nullptr;
  for (; attribute != nullptr; attribute = ippNextAttribute(answer.get())) {
    const bool belongs =
        ippGetName(attribute) != nullptr && ippGetGroupTag(attribute) == IPP_TAG_PRINTER;
    if (belongs && !in_queue) {
      queues.emplace_back();
    }
    if (belongs) {
      read_attribute(attribute, queues.back());
    }
    in_queue = belongs;
  }
  return queues;
}

const Queue* find_queue(const std::vector<Queue>& queues, const std::string& name) {
  const auto found = std::find_if(queues.begin(), queues.end(),
                                  [&name](const Queue& queue) { return queue.name == name; });
  return found == queues.end() ? nullptr : &*found;
}

std::optional<PrinterAddress> address_in(const std::string& device_uri) {
  const std::string scheme = device_uri.substr(0, device_uri.find(':'));
  if (scheme == "k905") {
    return parse_device_uri(device_uri);
  }
  if (scheme == "socket") {
    return parse_device_uri("k905" + device_uri.substr(scheme.size()));
  }
  if (scheme == "usb") {
    const std::optional<std::string> serial = device_uri_option(device_uri, "serial");
    return serial && !serial->empty() ? std::optional(named(PrinterAddress::Kind::kSerial, *serial))
                                      : std::nullopt;
  }
  std::string path = path_in(device_uri);
  if (!path.starts_with("/dev/")) {
    return std::nullopt;
  }
  return named(PrinterAddress::Kind::kPath, std::move(path));
}

const Queue* printing_queue(const std::vector<Queue>& queues, const PrinterAddress& address) {
  const std::filesystem::path file = device_file(address);
  for (const Queue& queue : queues) {
    const std::optional<PrinterAddress> other =
        queue.printing ? address_in(queue.device_uri) : std::nullopt;
    if (other && (*other == address || (!file.empty() && device_file(*other) == file))) {
      return &queue;
    }
  }
  return nullptr;
}

const Queue* printing_usb_queue(const std::vector<Queue>& queues) {
  const auto found = std::find_if(queues.begin(), queues.end(), [](const Queue& queue) {
    return queue.printing && queue.device_uri.starts_with("usb:");
  });
  return found == queues.end() ? nullptr : &*found;
}

}  // namespace k905
