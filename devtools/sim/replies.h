// The printer's replies to the questions of drivers.
#pragma once

#include <optional>
#include <string>

#include "devtools/sim/printer_state.h"

// Status codes that the simulator sets by itself.
inline constexpr int kStatusIdle = 0;
inline constexpr int kStatusPrinting = 1;
inline constexpr int kStatusPaperEnd = 1100;
inline constexpr int kStatusDataError = 1600;

// True for groups of questions; all others are part of a print job.
[[nodiscard]] bool is_question_group(const std::string& group);

// The reply without its line end. Null for a question that this model does not answer. `status` is
// the code to report.
[[nodiscard]] std::optional<std::string> reply_to(const PrinterState& state, int status,
                                                  const std::string& group,
                                                  const std::string& name);
