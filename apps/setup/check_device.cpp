#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "apps/setup/ask_printer.h"
#include "apps/setup/check.h"
#include "apps/setup/installation.h"
#include "apps/status/print_system.h"
#include "device/status_reasons.h"
#include "protocol/status_texts.h"

namespace k905 {

namespace {

constexpr char kConnectIt[] =
    "switch the printer on and plug it in; k905-setup --list shows the devices";

struct Device {
  std::string queue;
  std::string uri;
  std::vector<ConnectedDevice> connected;
  std::string not_listed;               // why `connected` is not known
  std::optional<std::string> k905_uri;  // the same printer on the backend k905

  [[nodiscard]] bool is_listed() const {
    return std::ranges::any_of(connected, [&](const ConnectedDevice& device) {
      return device.uri == uri || (k905_uri && device.uri == *k905_uri);
    });
  }
};

// "scheme:/path?options" as well as "scheme://host:port/path".
PrinterAddress parse(const std::string& uri) {
  std::array<char, 64> scheme{};
  std::array<char, HTTP_MAX_URI> user{};
  std::array<char, HTTP_MAX_URI> host{};
  std::array<char, HTTP_MAX_URI> resource{};
  int port = 0;
  httpSeparateURI(HTTP_URI_CODING_ALL, uri.c_str(), scheme.data(), scheme.size(), user.data(),
                  user.size(), host.data(), host.size(), &port, resource.data(), resource.size());
  if (host.front() != '\0' && port > 0) {
    return {PrinterAddress::Kind::kNetwork, host.data(), std::to_string(port)};
  }
  const std::string path = resource.data();
  return {PrinterAddress::Kind::kPath, path.substr(0, path.find('?')), ""};
}

bool is_usb(const std::string& uri) {
  return scheme_of(uri) == "usb" || uri.starts_with("k905://usb/");
}

void report_missing(const Device& device, const PrinterAddress& address, int error,
                    Findings& findings) {
  if (address.kind == PrinterAddress::Kind::kNetwork) {
    findings.problem(device.uri + " does not answer",
                     "switch the printer or its print server on, and check address and port");
  } else if (error == EACCES || error == EPERM) {
    findings.ok("the device " + device.uri + " is connected; run as root to ask the printer");
  } else if (is_usb(device.uri)) {
    if (device.is_listed()) {
      findings.ok("the device " + device.uri + " is connected");
    } else if (!device.not_listed.empty()) {
      findings.note("the device is " + device.uri +
                    "; whether it is connected is not known: " + device.not_listed);
    } else {
      findings.problem(device.uri + " is not connected", kConnectIt);
    }
  } else {
    findings.problem("the device " + address.name + " cannot be opened: " + std::strerror(error),
                     kConnectIt);
  }
}

void report_status(const PrinterAnswer& printer, Findings& findings) {
  const StatusReason& reason = status_reason(printer.status);
  const std::string known = status_text(printer.status);
  const std::string text = known.empty() ? "status " + std::to_string(printer.status) : known;
  if (!reason.ready) {
    findings.problem("the printer does not print: " + text, reason.advice);
    return;
  }
  const std::string left = std::to_string(printer.prints_left) + " prints left";
  findings.ok("the printer answers: " + text + (printer.prints_left < 0 ? "" : ", " + left));
}

// A printer that the backend k905 can reach, whatever backend the queue uses.
Answer check_printer(const Device& device, const PrinterAddress& address, Findings& findings) {
  const PrinterAnswer printer = ask_printer(address);
  switch (printer.answer) {
    case Answer::replied:
      report_status(printer, findings);
      break;
    case Answer::in_use:
      findings.ok("the device " + device.uri + " is in use");
      break;
    case Answer::not_asked:
      findings.ok("the device " + device.uri + " can be reached; run as root to ask the printer");
      break;
    case Answer::unreachable:
      report_missing(device, address, printer.error, findings);
      break;
    case Answer::no_reply:
      if (scheme_of(device.uri) == "k905") {
        findings.problem(
            "the printer at " + device.uri +
                " does not answer status queries, so the backend k905 does not print",
            "switch it off and on; if its print server cannot return replies: k905-setup "
            "--replace " +
                device.queue + " --device socket://ADDRESS:PORT --keep-device");
      } else {
        findings.ok("the device " + device.uri + " accepts connections");
      }
      break;
  }
  return printer.answer;
}

// Whether the backend last reported that the job is waiting for the printer.
bool waits_for_printer(const Queue& state) {
  return std::ranges::any_of(state.reasons, [](const std::string& reason) {
    return reason.ends_with("-error") || reason == kOffline;
  });
}

// A device that only other backends support.
void check_other(const Device& device, Findings& findings) {
  const PrinterAddress address = parse(device.uri);
  const std::string scheme = scheme_of(device.uri);
  struct stat status {};
  const bool is_device = is_device_file(address.name) ||
                         (stat(address.name.c_str(), &status) == 0 && S_ISCHR(status.st_mode));
  if (is_usb(device.uri)) {
    report_missing(device, address, ENODEV, findings);
  } else if (address.name == "/dev/null") {
    findings.problem("the device is " + device.uri + ", which discards every job",
                     "k905-setup --replace " + device.queue +
                         " --device URI; k905-setup --list shows the devices");
  } else if (address.kind == PrinterAddress::Kind::kNetwork || is_device) {
    const int error = try_to_open(address);
    if (error != 0 && error != EBUSY) {
      report_missing(device, address, error, findings);
    } else {
      findings.ok("the device " + device.uri +
                  (is_device ? " is connected" : " accepts connections"));
    }
  } else if (scheme == "file" || scheme == "serial" || scheme == "parallel") {
    findings.note("the queue prints to the file " + address.name + ", not to a printer");
  } else {
    findings.ok("the device is " + device.uri);
  }
}

// With other backends a stop of the scheduler interrupts the sheet that is being sent.
void check_backend(const Device& device, bool keeps_device, Answer answer, Findings& findings) {
  if (!uses_other_backend(device.uri)) {
    return;
  }
  const std::string risk = "the queue uses the backend " + scheme_of(device.uri) +
                           ", which sends only a part of a sheet when the scheduler stops, and "
                           "does not wait for the printer";
  if (keeps_device) {
    findings.note(risk + "; its address was chosen with --keep-device");
  } else if (answer == Answer::no_reply) {
    findings.note(risk +
                  "; the printer does not answer status queries, which the backend k905 needs");
  } else if (device.k905_uri) {
    findings.problem(risk, "k905-setup --update " + device.queue);
  } else {
    findings.problem(risk, "switch the printer on, then k905-setup --update " + device.queue);
  }
}

}  // namespace

void check_device(Scheduler& scheduler, const std::string& queue, const Queue& state,
                  bool keeps_device, Findings& findings) {
  Device device;
  device.queue = queue;
  device.uri = state.device_uri;
  if (const auto reason = find_uri_problem(device.uri)) {
    findings.problem(*reason,
                     scheme_of(device.uri) == "k905"
                         ? reinstall_advice()
                         : "apt-get install cups, or give the queue another device: k905-setup "
                           "--replace " +
                               queue + " --device URI");
    return;
  }
  if (is_usb(device.uri)) {
    device.not_listed = scheduler.list_devices("k905,usb", device.connected).value_or("");
  }
  device.k905_uri = k905_uri_of(device.uri, device.connected);
  const auto address = device.k905_uri ? parse_device_uri(*device.k905_uri) : std::nullopt;
  Answer answer = Answer::in_use;
  if (state.printing && waits_for_printer(state)) {
    findings.problem("the job is waiting: " + state.message, "lpstat -l -p " + queue);
  } else if (state.printing || (address && printing_queue(all_queues(), *address) != nullptr)) {
    findings.ok("the device " + device.uri + " is in use");
  } else if (address) {
    answer = check_printer(device, *address, findings);
  } else {
    check_other(device, findings);
  }
  check_backend(device, keeps_device, answer, findings);
}

}  // namespace k905
