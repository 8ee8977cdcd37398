// The connection to a printer: opening, waiting and errors. Every call returns 0 or an errno;
// nothing is logged.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "device/printer_address.h"
#include "device/usb_printers.h"

namespace k905 {

class Link {
 public:
  using Milliseconds = std::chrono::milliseconds;

  Link() = default;
  ~Link() { close(); }
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  // Opens or reopens the printer. ENODEV if no printer with the serial number is connected, ENOTTY
  // for a path that is not a character device, EHOSTUNREACH if the host name cannot be resolved,
  // ETIMEDOUT if the host does not answer in time, and the errors of open() and connect(). SIGPIPE
  // must be ignored.
  [[nodiscard]] int open(const PrinterAddress& address, Milliseconds timeout,
                         const UsbFolders& folders = {});
  void close();
  [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }

  // Writes until everything is written or the printer accepts nothing for `stall` (ETIMEDOUT). Adds
  // to `written`.
  [[nodiscard]] int write(std::span<const std::uint8_t> bytes, Milliseconds stall,
                          std::size_t& written);

  // Reads one line of at most `capacity` bytes, without its end (LF, or CR followed by nothing for
  // a moment). ETIMEDOUT if it does not end in time.
  [[nodiscard]] int read_line(std::string& line, std::size_t capacity, Milliseconds timeout);

  // Discards the bytes that have arrived, up to a limit.
  void discard_input();

 private:
  int open_file(const std::string& path);
  int connect_to(const PrinterAddress& address, Milliseconds timeout);
  int wait_for(short events, Milliseconds timeout) const;
  int read_some(char* buffer, std::size_t capacity, Milliseconds timeout, std::size_t& got) const;

  int descriptor_ = -1;
  bool is_socket_ = false;
};

}  // namespace k905
