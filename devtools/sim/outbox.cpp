#include "devtools/sim/outbox.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

void Outbox::add(std::vector<Piece> pieces, Clock::time_point now) {
  for (Piece& piece : pieces) {
    if (pieces_.empty()) {
      front_due_ = now + piece.pause;
    }
    pieces_.push_back(std::move(piece));
  }
}

void Outbox::clear() {
  pieces_.clear();
  has_sent_ = false;
}

std::optional<Outbox::Clock::time_point> Outbox::due() const {
  return pieces_.empty() ? std::nullopt : std::optional(front_due_);
}

bool Outbox::send(int descriptor, Clock::time_point now) {
  while (!pieces_.empty() && front_due_ <= now) {
    std::string& bytes = pieces_.front().bytes;
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0) {
      return errno == EAGAIN || errno == EINTR;
    }
    has_sent_ = has_sent_ || written > 0;
    bytes.erase(0, static_cast<std::size_t>(written));
    if (!bytes.empty()) {
      return true;
    }
    pieces_.pop_front();
    if (!pieces_.empty()) {
      front_due_ = now + pieces_.front().pause;
    }
  }
  return true;
}
