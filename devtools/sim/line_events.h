// Events on the connection between printer and client: how fast data is accepted, and at which byte
// of a sheet the printer stops accepting data or the connection is lost.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

enum class LineEvent {
  hold,        // no more data is accepted until resume()
  disconnect,  // clients are disconnected and can connect again at once
  unplug,      // clients are disconnected and cannot connect
};

struct PlannedEvent {
  LineEvent event = LineEvent::hold;
  // The event happens after this many bytes of a sheet. Null: when a sheet is complete, before any
  // following byte.
  std::optional<std::uint64_t> byte;
  std::optional<int> sheet;  // its number; null for the first
};

class LineEvents {
 public:
  using Clock = std::chrono::steady_clock;

  explicit LineEvents(std::uint64_t bytes_per_second) : bytes_per_second_(bytes_per_second) {}

  void plan(const PlannedEvent& event) { planned_.push_back(event); }

  // The event happens now.
  void apply(LineEvent event);
  void resume() { holds_ = false; }

  // Whether a client's data is processed at all at this moment.
  [[nodiscard]] bool takes_data() const { return !holds_ && !disconnection_; }
  [[nodiscard]] bool holds() const { return holds_; }

  // The number of bytes that may be processed before the next check for events. `sheet` is the
  // number of the current or next sheet, `sheet_bytes` the number of its bytes so far.
  [[nodiscard]] std::size_t bytes_until_event(std::uint64_t sheet_bytes, int sheet) const;

  // Returns the planned event if it is due, and removes it. `sheet` as above, `sheet_bytes` after
  // the bytes.
  [[nodiscard]] std::optional<PlannedEvent> take_due(std::uint64_t sheet_bytes, int sheet);
  [[nodiscard]] std::optional<PlannedEvent> take_due_after(int sheet);

  // Returns the disconnection that the servers must perform now, and removes it.
  [[nodiscard]] std::optional<LineEvent> take_disconnection();

  // The number of bytes that may be read now at the selected speed.
  [[nodiscard]] std::size_t budget(Clock::time_point now);
  void spend(std::size_t bytes) { budget_ -= static_cast<double>(bytes); }
  [[nodiscard]] bool is_slow() const { return bytes_per_second_ > 0; }

 private:
  template <class IsDue>
  std::optional<PlannedEvent> take_first(IsDue is_due);

  std::uint64_t bytes_per_second_;  // 0 for no limit
  double budget_ = 0;
  Clock::time_point filled_ = Clock::now();
  std::vector<PlannedEvent> planned_;
  std::optional<LineEvent> disconnection_;
  bool holds_ = false;
};
