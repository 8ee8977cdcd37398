// How the simulated printer misbehaves when it answers.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "devtools/sim/outbox.h"

enum class FaultKind {
  none,
  silent,   // no answer at all
  slow,     // a pause, half of the answer, a pause, the rest
  split,    // the CR, a pause, the LF, a pause
  cut,      // half of the answer and no line end
  longer,   // 300 characters
  garbage,  // bytes that mean nothing
  busy,     // a pause before the first answer, then all is well
};

struct Fault {
  FaultKind kind = FaultKind::none;
  std::chrono::milliseconds pause{400};
  std::string question;  // the one question it strikes, by name ("STATUS", "MQTY"); all when empty
};

// Null for a name that is none: silent slow split cut long garbage busy.
[[nodiscard]] std::optional<FaultKind> fault_named(const std::string& name);

// How the answer `text` to `question` goes out. `first` for the first question of a client.
[[nodiscard]] std::vector<Piece> pieces_of_reply(const std::string& text, const Fault& fault,
                                                 const std::string& question, bool first);
