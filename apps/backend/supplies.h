// What is left in the printer, as the print system shows it.
#pragma once

#include "device/printer_report.h"

namespace k905::backend {

// Below this part of the initial count the media counts as low.
inline constexpr int kLowPercent = 10;

class Supplies {
 public:
  // Asks the printer for its counts, takes them into `seen`, and reports what has changed. A
  // printer that does not answer leaves all as it was.
  void report(Printer& printer, PrinterReport& seen);

 private:
  int left_ = -1;
  int initial_ = -1;
  bool low_ = false;
};

}  // namespace k905::backend
