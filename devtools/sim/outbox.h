// Bytes to be sent to a client, some of them after a pause.
#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <vector>

struct Piece {
  std::string bytes;
  std::chrono::milliseconds pause{0};  // before sending, counted from the end of the previous bytes
};

class Outbox {
 public:
  using Clock = std::chrono::steady_clock;

  void add(std::vector<Piece> pieces, Clock::time_point now);
  void clear();
  [[nodiscard]] bool empty() const { return pieces_.empty(); }
  // Too many bytes are waiting: no more questions are to be accepted.
  [[nodiscard]] bool is_full() const { return pieces_.size() >= kFullAtPieces; }
  // Bytes have been written since the last clear().
  [[nodiscard]] bool has_sent() const { return has_sent_; }

  // The time when the next bytes are due; null if there are none.
  [[nodiscard]] std::optional<Clock::time_point> due() const;

  // Writes the bytes that are due, as far as the descriptor (non-blocking) accepts them.
  [[nodiscard]] bool send(int descriptor, Clock::time_point now);

 private:
  static constexpr std::size_t kFullAtPieces = 1024;

  std::deque<Piece> pieces_;
  bool has_sent_ = false;
  Clock::time_point front_due_{};
};
