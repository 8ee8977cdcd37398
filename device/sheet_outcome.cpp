#include "device/sheet_outcome.h"

namespace k905 {

namespace {

// An idle printer that did not increase its counter for a sheet that was sent without errors.
constexpr std::chrono::seconds kNeverMoved{120};

constexpr int kIdle = 0;
constexpr int kStandby = 900;
constexpr int kDataError = 1600;

}  // namespace

bool is_idle_status(int code) { return code == kIdle || code == kStandby || code == kDataError; }

SheetOutcome::State SheetOutcome::observe(std::optional<int> life, std::optional<int> status,
                                          bool is_ready, Time now,
                                          const std::function<int()>& free_buffers) {
  if (life && *life > before_.life) {
    return State::kPrinted;
  }
  if (!life || !status || !is_idle_status(*status)) {
    last_busy_ = now;
    // The printer needed attention while it had the sheet.
    interrupted_ = interrupted_ || (status && !is_ready);
    return State::kOpen;
  }
  const auto idle = now - last_busy_;
  if (idle >= kNeverMoved) {
    return State::kUnknown;
  }
  if (idle < settle_) {
    return State::kOpen;
  }
  if (interrupted_) {
    // A sheet that is still in a buffer can come out later.
    return free_buffers() >= before_.buffers ? State::kNotPrinted : State::kOpen;
  }
  return *status == kDataError ? State::kUnknown : State::kOpen;
}

}  // namespace k905
