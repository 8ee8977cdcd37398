// The remaining media, as the print system shows it.
#pragma once

#include "device/printer_report.h"

namespace k905::backend {

// Below this part of the initial count the media is low.
inline constexpr int kLowPercent = 10;

class Supplies {
 public:
  // Asks the printer for its counts, stores them in `latest`, and reports changes. Changes nothing
  // if the printer does not answer.
  void report(Printer& printer, PrinterReport& latest);

 private:
  int left_ = -1;
  int initial_ = -1;
  bool low_ = false;
};

}  // namespace k905::backend
