// The queues of the print system, and which of them is printing on a device.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "device/printer_address.h"

namespace k905 {

struct Queue {
  std::string name;
  std::string device_uri;
  bool printing = false;
  std::string message;               // the current message of the queue
  std::string note;                  // the backend's last report, see parse_note
  std::vector<std::string> members;  // of a class
};

// All queues; none if the print system does not answer.
[[nodiscard]] std::vector<Queue> all_queues();

[[nodiscard]] const Queue* find_queue(const std::vector<Queue>& queues, const std::string& name);

// The printer of a device URI such as k905://usb/SERIAL, socket://HOST, usb://...?serial=SERIAL,
// file:///dev/usb/lp0 or serial:/dev/ttyS0?baud=9600. Nothing if it cannot be asked from this
// computer.
[[nodiscard]] std::optional<PrinterAddress> address_in(const std::string& device_uri);

// The queue that is printing on this printer, null for none. Links are resolved, and a serial
// number is the same printer as its device file.
[[nodiscard]] const Queue* printing_queue(const std::vector<Queue>& queues,
                                          const PrinterAddress& address);

// The first printing queue that uses USB without a device file: while it prints, the device file
// does not exist or cannot be opened. Null for none.
[[nodiscard]] const Queue* printing_usb_queue(const std::vector<Queue>& queues);

}  // namespace k905
