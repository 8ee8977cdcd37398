#include "device/sheet_outcome.h"

#include <algorithm>

namespace k905 {

namespace {

// How long an idle printer is watched for an increase of its counter; twice the settle time if that
// is longer.
constexpr std::chrono::seconds kOutcomeTimeout{120};

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
    return State::kUndecided;
  }
  const auto idle = now - last_busy_;
  if (idle < settle_) {
    return State::kUndecided;
  }
  // A sheet that is still in a buffer can come out later.
  if (interrupted_ && free_buffers() >= before_.buffers) {
    return State::kNotPrinted;
  }
  if (!interrupted_ && *status == kDataError) {
    return State::kUnknown;
  }
  return idle >= std::max<Time::duration>(kOutcomeTimeout, 2 * settle_) ? State::kUnknown
                                                                        : State::kUndecided;
}

}  // namespace k905
