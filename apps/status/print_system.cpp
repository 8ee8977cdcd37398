#include "apps/status/print_system.h"

#include <array>
#include <filesystem>

#include "apps/base/cups_handles.h"

namespace {

// It is on this machine, or it is not waited for.
constexpr int kConnectMs = 2000;

std::string text_of(ipp_attribute_t* attribute) {
  const char* text = attribute == nullptr ? nullptr : ippGetString(attribute, 0, nullptr);
  return text == nullptr ? "" : text;
}

// The path in "SCHEME:/PATH", "SCHEME://PATH" and "SCHEME:///PATH", without what follows a "?".
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

std::string without_links(const std::string& path) {
  std::error_code ignored;
  const std::filesystem::path real = std::filesystem::canonical(path, ignored);
  return ignored ? path : real.string();
}

}  // namespace

std::vector<BusyQueue> busy_queues() {
  std::vector<BusyQueue> queues;
  const k905::Http http = k905::connect_to_scheduler(kConnectMs);
  if (!http) {
    return queues;
  }
  constexpr std::array<const char*, 3> wanted{"printer-name", "device-uri", "printer-state"};
  ipp_t* request = ippNewRequest(IPP_OP_CUPS_GET_PRINTERS);
  ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes",
                static_cast<int>(wanted.size()), nullptr, wanted.data());
  const k905::Ipp answer(cupsDoRequest(http.get(), request, "/"));
  BusyQueue queue;
  bool printing = false;
  const auto take = [&] {
    if (printing && !queue.name.empty()) {
      queues.push_back(queue);
    }
    queue = {};
    printing = false;
  };
  ipp_attribute_t* attribute = answer ? ippFirstAttribute(answer.get()) : nullptr;
  for (; attribute != nullptr; attribute = ippNextAttribute(answer.get())) {
    const char* name = ippGetName(attribute);
    if (name == nullptr) {
      take();  // between two queues
      continue;
    }
    const std::string key = name;
    if (key == "printer-name") {
      queue.name = text_of(attribute);
    } else if (key == "device-uri") {
      queue.device_uri = text_of(attribute);
    } else if (key == "printer-state") {
      printing = ippGetInteger(attribute, 0) == IPP_PSTATE_PROCESSING;
    }
  }
  take();
  return queues;
}

std::string queue_on_device(const std::vector<BusyQueue>& queues, const std::string& device) {
  const std::string real = without_links(device);
  for (const BusyQueue& queue : queues) {
    const std::string path = path_in(queue.device_uri);
    if (!path.empty() && without_links(path) == real) {
      return queue.name;
    }
  }
  return "";
}

std::string queue_on_usb(const std::vector<BusyQueue>& queues) {
  for (const BusyQueue& queue : queues) {
    if (queue.device_uri.starts_with("usb:")) {
      return queue.name;
    }
  }
  return "";
}
