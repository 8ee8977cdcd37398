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

std::vector<std::string> texts_of(ipp_attribute_t* attribute) {
  std::vector<std::string> texts;
  for (int i = 0; i < ippGetCount(attribute); ++i) {
    const char* text = ippGetString(attribute, i, nullptr);
    texts.emplace_back(text == nullptr ? "" : text);
  }
  return texts;
}

std::string text_of(ipp_attribute_t* attribute) {
  const char* text = ippGetString(attribute, 0, nullptr);
  return text == nullptr ? "" : text;
}

std::string bytes_of(ipp_attribute_t* attribute) {
  int size = 0;
  const void* bytes = ippGetOctetString(attribute, 0, &size);
  return bytes == nullptr ? "" : std::string(static_cast<const char*>(bytes), std::size_t(size));
}

void read_attribute(ipp_attribute_t* attribute, Queue& queue) {
  const std::string_view name = ippGetName(attribute);
  if (name == "printer-name") {
    queue.name = text_of(attribute);
  } else if (name == "device-uri") {
    queue.device_uri = text_of(attribute);
  } else if (name == "printer-state") {
    queue.printing = ippGetInteger(attribute, 0) == IPP_PSTATE_PROCESSING;
    queue.stopped = ippGetInteger(attribute, 0) == IPP_PSTATE_STOPPED;
  } else if (name == "printer-state-message") {
    queue.message = text_of(attribute);
  } else if (name == "printer-alert") {
    queue.note = bytes_of(attribute);
  } else if (name == "printer-state-reasons") {
    queue.reasons = texts_of(attribute);
  } else if (name == "printer-error-policy") {
    queue.error_policy = text_of(attribute);
  } else if (name == "printer-is-accepting-jobs") {
    queue.accepting = ippGetBoolean(attribute, 0) != 0;
  } else if (name == "printer-is-shared") {
    queue.shared = ippGetBoolean(attribute, 0) != 0;
  } else if (name == "member-names") {
    queue.members = texts_of(attribute);
  } else if (name.ends_with("-default")) {
    queue.job_defaults.emplace_back(name);
    if (name == "print-scaling-default") {
      queue.scaling = text_of(attribute);
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

// The printer's device file, links resolved; empty if it has none on this computer.
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

std::vector<Queue> queues_in(ipp_t* answer) {
  std::vector<Queue> queues;
  for_each_group(
      answer, IPP_TAG_PRINTER, [&] { queues.emplace_back(); },
      [&](ipp_attribute_t* attribute) { read_attribute(attribute, queues.back()); });
  return queues;
}

std::vector<Queue> all_queues() {
  const Http http = connect_to_scheduler(kConnectMs);
  if (!http) {
    return {};
  }
  constexpr auto kWanted =
      std::to_array<const char*>({"printer-name", "device-uri", "printer-state",
                                  "printer-state-message", "printer-alert", "member-names"});
  ipp_t* request = ippNewRequest(IPP_OP_CUPS_GET_PRINTERS);
  ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes",
                static_cast<int>(kWanted.size()), nullptr, kWanted.data());
  const Ipp answer(cupsDoRequest(http.get(), request, "/"));
  return queues_in(answer.get());
}

const Queue* find_queue(const std::vector<Queue>& queues, const std::string& name) {
  const auto found = std::ranges::find(queues, name, &Queue::name);
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
