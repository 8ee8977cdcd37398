// Bytes on their way to a client, some of them with a pause in front.
#pragma once

#include <chrono>
#include <deque>
#include <optional>
#include <string>
#include <vector>

struct Piece {
  std::string bytes;
  std::chrono::milliseconds pause{0};  // before it goes, counted from when its turn comes
};

class Outbox {
 public:
  using Clock = std::chrono::steady_clock;

  void add(std::vector<Piece> pieces, Clock::time_point now);
  void clear() { pieces_.clear(); }
  [[nodiscard]] bool empty() const { return pieces_.empty(); }

  // When the next bytes are due; null when there are none.
  [[nodiscard]] std::optional<Clock::time_point> due() const;

  // Writes what is due, as far as the descriptor (non-blocking) takes it.
  // False when the client is gone.
  [[nodiscard]] bool send(int descriptor, Clock::time_point now);

 private:
  std::deque<Piece> pieces_;
  Clock::time_point front_due_{};
};
