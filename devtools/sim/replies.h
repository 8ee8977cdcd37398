// The printer's answers to the questions of its drivers.
#pragma once

#include <optional>
#include <string>

#include "devtools/sim/printer_state.h"

// Status codes that the simulator finds by itself.
inline constexpr int kStatusIdle = 0;
inline constexpr int kStatusPrinting = 1;
inline constexpr int kStatusPaperEnd = 1100;
inline constexpr int kStatusDataError = 1600;

// True for the groups that ask something; all others belong to a print job.
[[nodiscard]] bool is_question_group(const std::string& group);

// The answer without its line end. Null for a question that this model does not know: it says
// nothing then. `status` is the code to tell.
[[nodiscard]] std::optional<std::string> reply_to(const PrinterState& state, int status,
                                                  const std::string& group,
                                                  const std::string& name);
