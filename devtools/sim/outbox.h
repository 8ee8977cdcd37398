// Bytes on their way to a client, some of them with a pause in front.
#pragma once

#include <chrono>
#include <cstddef>
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
  void clear();
  [[nodiscard]] bool empty() const { return pieces_.empty(); }
  // So much is waiting that no further questions shall be taken.
  [[nodiscard]] bool is_full() const { return pieces_.size() >= kFullAtPieces; }
  // Bytes have been written since the last clear().
  [[nodiscard]] bool has_sent() const { return has_sent_; }

  // When the next bytes are due; null when there are none.
  [[nodiscard]] std::optional<Clock::time_point> due() const;

  // Writes what is due, as far as the descriptor (non-blocking) takes it.
  // False when the client is gone.
  [[nodiscard]] bool send(int descriptor, Clock::time_point now);

 private:
  static constexpr std::size_t kFullAtPieces = 1024;

  std::deque<Piece> pieces_;
  bool has_sent_ = false;
  Clock::time_point front_due_{};
};
