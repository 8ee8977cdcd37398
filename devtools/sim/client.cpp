#include "devtools/sim/client.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

namespace {

// A client that sends without pause must not block the others or the end of the program, and its
// questions of one round must not fill the memory with replies.
constexpr int kMaxReadsInARow = 64;
constexpr std::size_t kMaxBytesInARow = std::size_t{1} << 18;

const char* name_of(LineEvent event) {
  switch (event) {
    case LineEvent::hold:
      return "holding";
    case LineEvent::disconnect:
      return "disconnected";
    case LineEvent::unplug:
      break;
  }
  return "unplugged";
}

}  // namespace

Client::Client(Printer& printer, LineEvents& events, int descriptor)
    : printer_(printer),
      events_(events),
      descriptor_(descriptor),
      dialogue_(
          {.question = [this](const auto& group, const auto& name) { ask(group, name); },
           .sheet = [this](k905::Sheet&& sheet) { take_sheet(std::move(sheet)); },
           .protocol_error =
               [this](const k905::StreamError& error) { printer_.refuse(error, error_hint_); },
           .may_begin_sheet = [this] { return printer_.begin_sheet(); }}) {}

bool Client::wants_bytes(bool is_limited) const {
  return waiting_.empty() && events_.takes_data() && !(is_limited && outbox_.is_full());
}

bool Client::read_available() {
  char piece[65536];
  for (int round = 0; round < kMaxReadsInARow && waiting_.size() < kMaxBytesInARow; ++round) {
    const std::size_t max_bytes = std::min(sizeof piece, events_.budget(LineEvents::Clock::now()));
    if (max_bytes == 0) {
      return true;
    }
    const ssize_t got = read(descriptor_, piece, max_bytes);
    if (got == 0) {
      return false;
    }
    if (got < 0) {
      return errno == EAGAIN || errno == EINTR;
    }
    events_.spend(static_cast<std::size_t>(got));
    waiting_.append(piece, static_cast<std::size_t>(got));
  }
  return true;
}

void Client::process() {
  std::size_t done = 0;
  while (done < waiting_.size() && events_.takes_data()) {
    const int sheet = printer_.next_sheet();
    const std::size_t max_bytes =
        std::min(waiting_.size() - done, events_.bytes_until_event(dialogue_.sheet_bytes(), sheet));
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(waiting_.data() + done);
    const std::size_t taken = dialogue_.take_some(bytes, max_bytes);
    if (taken == 0) {
      break;
    }
    done += taken;
    if (const auto event = events_.take_due(dialogue_.sheet_bytes(), sheet)) {
      apply(*event, sheet);
    }
  }
  waiting_.erase(0, done);
}

void Client::take_sheet(k905::Sheet&& sheet) {
  const int number = printer_.next_sheet();
  printer_.take(std::move(sheet));
  if (const auto event = events_.take_due_after(number)) {
    apply(*event, number);
  }
}

void Client::apply(const PlannedEvent& event, int sheet) {
  events_.apply(event.event);
  printer_.print_line(std::string(name_of(event.event)) +
                      (event.byte ? " at byte " + std::to_string(*event.byte) + " of" : " after") +
                      " sheet " + std::to_string(sheet));
}

void Client::end() {
  waiting_.clear();
  dialogue_.end();
}

void Client::clear_replies() {
  outbox_.clear();
  first_question_ = true;
}

void Client::ask(const std::string& group, const std::string& name) {
  const std::string& question = name.empty() ? group : name;
  if (const auto text = printer_.answer(group, name, dialogue_.inside_sheet())) {
    outbox_.add(pieces_of_reply(*text, printer_.fault(), question, first_question_),
                Outbox::Clock::now());
    first_question_ = false;
  }
}
