#include "devtools/sim/line_events.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace {

constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

// After a pause a connection accepts at most the data of this many seconds at once.
constexpr double kBurstS = 0.05;

// An event that did not happen in its own sheet applies to the next one.
bool applies_to(const PlannedEvent& event, int sheet) {
  return !event.sheet || *event.sheet <= sheet;
}

}  // namespace

void LineEvents::apply(LineEvent event) {
  if (event == LineEvent::hold) {
    holds_ = true;
  } else {
    holds_ = false;
    disconnection_ = event;
  }
}

std::size_t LineEvents::bytes_until_event(std::uint64_t sheet_bytes, int sheet) const {
  std::size_t limit = kNoLimit;
  for (const PlannedEvent& event : planned_) {
    if (applies_to(event, sheet) && event.byte && sheet_bytes > 0 && sheet_bytes < *event.byte) {
      limit = std::min(limit, static_cast<std::size_t>(*event.byte - sheet_bytes));
    }
  }
  return limit;
}

template <class IsDue>
std::optional<PlannedEvent> LineEvents::take_first(IsDue is_due) {
  const auto found = std::find_if(planned_.begin(), planned_.end(), is_due);
  if (found == planned_.end()) {
    return std::nullopt;
  }
  const PlannedEvent event = *found;
  planned_.erase(found);
  return event;
}

std::optional<PlannedEvent> LineEvents::take_due(std::uint64_t sheet_bytes, int sheet) {
  return take_first([=](const PlannedEvent& event) {
    return applies_to(event, sheet) && event.byte && sheet_bytes > 0 && sheet_bytes >= *event.byte;
  });
}

std::optional<PlannedEvent> LineEvents::take_due_after(int sheet) {
  return take_first(
      [=](const PlannedEvent& event) { return applies_to(event, sheet) && !event.byte; });
}

std::optional<LineEvent> LineEvents::take_disconnection() {
  return std::exchange(disconnection_, std::nullopt);
}

std::size_t LineEvents::budget(Clock::time_point now) {
  if (!is_slow()) {
    return kNoLimit;
  }
  const std::chrono::duration<double> passed = now - std::exchange(filled_, now);
  const auto speed = static_cast<double>(bytes_per_second_);
  budget_ = std::min(budget_ + speed * passed.count(), std::max(1.0, speed * kBurstS));
  return budget_ < 1 ? 0 : static_cast<std::size_t>(budget_);
}
