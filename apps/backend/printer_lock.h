// The lock that the backend holds while it uses a printer, for programs that must not ask the
// printer meanwhile: a question inside a sheet would be printed as pixels.
#pragma once

#include <string>

#include "apps/base/descriptor.h"
#include "device/printer_address.h"

namespace k905::backend {

// The file of the lock, in the folder of job records.
[[nodiscard]] std::string lock_file_name(const PrinterAddress& printer);

// Held until the object is destroyed, unless another process holds it; a job that starts meanwhile
// waits.
class PrinterLock {
 public:
  explicit PrinterLock(const PrinterAddress& printer);

  // The backend is using the printer.
  [[nodiscard]] bool is_held_elsewhere() const { return is_held_elsewhere_; }
  // Whether the lock is held cannot be determined: this user may not open its file (neither root
  // nor in the group of the backend).
  [[nodiscard]] bool is_unknown() const { return is_unknown_; }

 private:
  Descriptor file_;
  bool is_unknown_ = false;
  bool is_held_elsewhere_ = false;
};

}  // namespace k905::backend
