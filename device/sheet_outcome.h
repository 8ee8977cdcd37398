// Decides whether a sheet that was sent came out. A wrong decision wastes a sheet or loses one, so
// the rules are separate from questions and waits, and the backend and k905-print share them.
//
// The life counter decides: if it increased, the sheet came out. An idle printer whose counter did
// not increase has lost the sheet if the sheet was interrupted and the printer's buffer is free
// again. In all other cases the outcome is unknown, and an operator must check.
#pragma once

#include <chrono>
#include <functional>
#include <optional>

namespace k905 {

// Nothing is being printed: idle, standby, or idle after an interrupted sheet.
[[nodiscard]] bool is_idle_status(int code);

// The printer's counters before the sheet was sent.
struct SheetCounters {
  int life = 0;
  int buffers = 0;  // free
};

class SheetOutcome {
 public:
  enum class State { kUndecided, kPrinted, kNotPrinted, kUnknown };
  using Time = std::chrono::steady_clock::time_point;

  // `settle`: how long a printer must be idle before an interrupted sheet counts as lost.
  // `interrupted`: the sheet may be incomplete.
  SheetOutcome(const SheetCounters& before, std::chrono::milliseconds settle, bool interrupted,
               Time now)
      : before_(before), settle_(settle), interrupted_(interrupted), last_busy_(now) {}

  // To be called if the connection was lost while the sheet was in the printer, or if an earlier
  // process sent it.
  void interrupt(Time now) {
    interrupted_ = true;
    last_busy_ = now;
  }

  // The current answers of the printer; nothing for an unanswered question. `is_ready`: the status
  // needs no attention. `free_buffers` asks for the free buffers (0 without an answer); it is
  // called only if the answer decides.
  [[nodiscard]] State observe(std::optional<int> life, std::optional<int> status, bool is_ready,
                              Time now, const std::function<int()>& free_buffers);

 private:
  SheetCounters before_;
  std::chrono::milliseconds settle_;
  bool interrupted_;
  Time last_busy_;
};

}  // namespace k905
