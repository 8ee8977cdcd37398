// What became of a sheet that was sent. Two programs decide this, the backend and k905-print, and a
// wrong answer costs a sheet or loses one, so the rules are here, apart from all questions and
// waits.
//
// The life counter decides: when it moves, the sheet came out. A printer that is idle and whose
// counter does not move has lost the sheet if something interrupted it and its buffer is free
// again. Where neither is the case nobody can know, and a person has to look.
#pragma once

#include <chrono>
#include <functional>
#include <optional>

namespace k905 {

// Nothing is being printed: idle, standby, or idle after a sheet that was cut off.
[[nodiscard]] bool is_idle_status(int code);

// The printer's counters before the sheet was sent.
struct SheetCounters {
  int life = 0;
  int buffers = 0;  // free
};

class SheetOutcome {
 public:
  enum class State { kOpen, kPrinted, kNotPrinted, kUnknown };
  using Time = std::chrono::steady_clock::time_point;

  // `settle`: how long a printer must be idle before an interrupted sheet counts as lost.
  // `interrupted`: the sheet may not have arrived complete.
  SheetOutcome(const SheetCounters& before, std::chrono::milliseconds settle, bool interrupted,
               Time now)
      : before_(before), settle_(settle), interrupted_(interrupted), last_busy_(now) {}

  // The connection was lost while the sheet was in the printer, or another process lost it.
  void interrupt(Time now) {
    interrupted_ = true;
    last_busy_ = now;
  }

  // What the printer answered now; nothing for a question without an answer. `is_ready`: the status
  // is none that needs attention. `free_buffers` asks for the free buffers, 0 without an answer; it
  // is called only when the answer decides.
  [[nodiscard]] State observe(std::optional<int> life, std::optional<int> status, bool is_ready,
                              Time now, const std::function<int()>& free_buffers);

 private:
  SheetCounters before_;
  std::chrono::milliseconds settle_;
  bool interrupted_;
  Time last_busy_;
};

}  // namespace k905
