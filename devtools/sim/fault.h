// Simulated faults in the answers of the printer.
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
  garbage,  // meaningless bytes
  busy,     // a pause before the first answer only
};

struct Fault {
  FaultKind kind = FaultKind::none;
  std::chrono::milliseconds pause{400};
  std::string question;  // the affected question, by name ("STATUS", "MQTY"); all if empty
};

// Null for a name that is not one of: silent slow split cut long garbage busy.
[[nodiscard]] std::optional<FaultKind> fault_named(const std::string& name);

// The bytes of the answer `text` to `question`. `first`: it is the first question of a client.
[[nodiscard]] std::vector<Piece> pieces_of_reply(const std::string& text, const Fault& fault,
                                                 const std::string& question, bool first);
