// The queues of the print system, and which of them is printing on a device.
#pragma once

#include <cups/ipp.h>

#include <optional>
#include <string>
#include <vector>

#include "device/printer_address.h"

namespace k905 {

struct Queue {
  std::string name{};
  std::string device_uri{};
  std::string message{};                    // printer-state-message
  std::string note{};                       // the backend's last report, see parse_note
  std::string error_policy{};               // printer-error-policy
  std::string scaling{};                    // print-scaling-default
  std::vector<std::string> reasons{};       // printer-state-reasons
  std::vector<std::string> members{};       // of a class; empty for a queue
  std::vector<std::string> job_defaults{};  // names of all attributes NAME-default
  bool printing = false;  // a job of the queue or of one of its classes is printing
  bool stopped = false;
  bool accepting = false;
  bool shared = false;  // offered to other computers
};

// The queues and classes in a response of the scheduler. Attributes that the response does not
// contain are empty or false.
[[nodiscard]] std::vector<Queue> queues_in(ipp_t* answer);

// All queues and classes; none if the print system does not answer. Only name, device, printing,
// stopped, message, note and members are requested: the other fields are empty or false.
[[nodiscard]] std::vector<Queue> all_queues();

[[nodiscard]] const Queue* find_queue(const std::vector<Queue>& queues, const std::string& name);

// The printer of a device URI such as k905://usb/SERIAL, socket://HOST, usb://...?serial=SERIAL,
// file:///dev/usb/lp0 or serial:/dev/ttyS0?baud=9600. Nothing if the printer cannot be
// queried from this computer.
[[nodiscard]] std::optional<PrinterAddress> address_in(const std::string& device_uri);

// The queue that is printing on this printer; null for none. Symbolic links are resolved, and a
// serial number matches the device file of that printer.
[[nodiscard]] const Queue* printing_queue(const std::vector<Queue>& queues,
                                          const PrinterAddress& address);

// The first printing queue with a usb: device URI, whose backend does not use the device file:
// while it prints, that file does not exist or cannot be opened. Null for none.
[[nodiscard]] const Queue* printing_usb_queue(const std::vector<Queue>& queues);

}  // namespace k905
