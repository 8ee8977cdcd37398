// Paper and ribbon are used together: one supply, counted in prints.

#include "apps/backend/supplies.h"

#include <algorithm>
#include <string>

#include "apps/backend/messages.h"
#include "device/status_reasons.h"

namespace k905::backend {

void Supplies::report(Printer& printer, PrinterReport& latest) {
  const Reply initial = printer.ask(QuestionId::kInitialMedia);
  const Reply left = printer.ask(QuestionId::kRemainingMedia);
  if (initial.error != 0 || left.error != 0 || initial.number <= 0 ||
      (left.number == left_ && initial.number == initial_)) {
    return;
  }
  latest.prints_left = left.number;
  latest.prints_initial = initial.number;
  left_ = left.number;
  initial_ = initial.number;
  const int percent = std::clamp(left_ * 100 / initial_, 0, 100);
  write_line("ATTR: ",
             "marker-names='Paper and ribbon' marker-types=ribbon-wax marker-colors=none "
             "marker-low-levels=" +
                 std::to_string(kLowPercent) + " marker-high-levels=100 marker-levels=" +
                 std::to_string(percent) + " marker-message='" + std::to_string(left_) + " of " +
                 std::to_string(initial_) + " prints left'");
  const bool low = percent < kLowPercent;
  if (low != low_) {
    write_line(low ? "STATE: +" : "STATE: -", kMediaLow);
    low_ = low;
  }
}

}  // namespace k905::backend
