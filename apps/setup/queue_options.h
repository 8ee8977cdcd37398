// The defaults of a new queue from the command line; unknown options and choices are refused.
#pragma once

#include <optional>
#include <string>

#include "apps/base/choices.h"
#include "ppd/option_table.h"

namespace k905 {

struct QueueOptions {
  const ppd::Model* model = &ppd::models.front();
  Choices choices{};     // default choices of the PPD file
  Choices attributes{};  // the queue's attributes in CUPS
};

// The model with this name, in upper or lower case; null if there is none.
[[nodiscard]] const ppd::Model* find_model(const std::string& name);

// Adds "OPTION=CHOICE": an option of the PPD file or a known attribute of a CUPS queue. Returns the
// error with the known names, or nothing.
[[nodiscard]] std::optional<std::string> add_option(QueueOptions& options, const std::string& text);

}  // namespace k905
