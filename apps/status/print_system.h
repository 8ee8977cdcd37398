// Whether the print system is at work with a device.
#pragma once

#include <string>
#include <vector>

struct BusyQueue {
  std::string name;
  std::string device_uri;
};

// The queues that print at this moment; none when the print system does not answer.
[[nodiscard]] std::vector<BusyQueue> busy_queues();

// The queue among them whose device is this very file, such as file:///dev/usb/lp0 or
// serial:/dev/ttyS0?baud=9600; "" when there is none.
[[nodiscard]] std::string queue_on_device(const std::vector<BusyQueue>& queues,
                                          const std::string& device);

// The first among them that reaches its printer over USB without a device file: as long as it
// prints, the file is not there or cannot be opened. "" when there is none.
[[nodiscard]] std::string queue_on_usb(const std::vector<BusyQueue>& queues);
