// The bytes to and from a printer: opening, waiting and errors. Every call returns 0 or an errno;
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

  // Opens the printer, or opens it again. ENODEV when no printer with the serial number is
  // connected, ENOTTY for a path that is no character device, EHOSTUNREACH when the host's name
  // cannot be resolved, ETIMEDOUT when the host does not answer in time, and what open() and
  // connect() report. SIGPIPE must be ignored.
  [[nodiscard]] int open(const PrinterAddress& address, Milliseconds timeout,
                         const UsbFolders& folders = {});
  void close();
  [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }

  // Writes as much as the printer takes until nothing is left or it takes nothing for `stall`
  // (ETIMEDOUT). `written` counts up.
  [[nodiscard]] int write(std::span<const std::uint8_t> bytes, Milliseconds stall,
                          std::size_t& written);

  // Reads one line, at most `capacity` bytes; its end (LF, or CR and nothing more for a moment) is
  // cut off. ETIMEDOUT when it has no end in time.
  [[nodiscard]] int read_line(std::string& line, std::size_t capacity, Milliseconds timeout);

  // Throws away what has already arrived.
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
