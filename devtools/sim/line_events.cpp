#include "devtools/sim/line_events.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace {

constexpr std::size_t kNoLimit = std::numeric_limits<std::size_t>::max();

// How much an idle connection may accept at once, in seconds of its speed.
constexpr double kBurst_s = 0.05;

// If the sheet of an event was printed without it, the event applies to the next sheet.
bool is_for(const PlannedEvent& event, int sheet) { return !event.sheet || *event.sheet <= sheet; }

}  // namespace

void LineEvents::apply(LineEvent event) {
  if (event == LineEvent::hold) {
    holds_ = true;
  } else {
    holds_ = false;
    disconnection_ = event;
  }
}

std::size_t LineEvents::bytes_until_event(std::uint64_t inside, int sheet) const {
  std::size_t limit = kNoLimit;
  for (const PlannedEvent& event : planned_) {
    if (is_for(event, sheet) && event.byte && inside > 0 && inside < *event.byte) {
      limit = std::min(limit, static_cast<std::size_t>(*event.byte - inside));
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

std::optional<PlannedEvent> LineEvents::take_due(std::uint64_t inside, int sheet) {
  return take_first([=](const PlannedEvent& event) {
    return is_for(event, sheet) && event.byte && inside > 0 && inside >= *event.byte;
  });
}

std::optional<PlannedEvent> LineEvents::take_due_after(int sheet) {
  return take_first([=](const PlannedEvent& event) { return is_for(event, sheet) && !event.byte; });
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
  budget_ = std::min(budget_ + speed * passed.count(), std::max(1.0, speed * kBurst_s));
  return budget_ < 1 ? 0 : static_cast<std::size_t>(budget_);
}
