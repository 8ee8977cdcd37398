// The queues of the print system, and which of them prints on a device.
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
  std::string message;               // what the queue shows at the moment
  std::string note;                  // of the backend, see to_note
  std::vector<std::string> members;  // of a class
};

// All queues; none when the print system does not answer.
[[nodiscard]] std::vector<Queue> all_queues();

[[nodiscard]] const Queue* find_queue(const std::vector<Queue>& queues, const std::string& name);

// The printer behind a device URI such as k905://usb/SERIAL, socket://HOST,
// usb://...?serial=SERIAL, file:///dev/usb/lp0 or serial:/dev/ttyS0?baud=9600. Nothing when it
// cannot be asked from here.
[[nodiscard]] std::optional<PrinterAddress> address_in(const std::string& device_uri);

// The queue that prints on this printer at the moment, null for none. Links are followed, and a
// serial number is the same printer as its device file.
[[nodiscard]] const Queue* printing_queue(const std::vector<Queue>& queues,
                                          const PrinterAddress& address);

// The first printing queue that reaches its printer over USB without a device file: as long as it
// prints, the file is not there or cannot be opened. Null for none.
[[nodiscard]] const Queue* printing_usb_queue(const std::vector<Queue>& queues);

}  // namespace k905
