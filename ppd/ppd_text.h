// A queue's PPD file as text, from the paper table and the table of options.
#pragma once

#include <map>
#include <string>

#include "ppd/option_table.h"

namespace ppd {

// Keyword to choice. "PageSize" sets the defaults of the page region and the areas as well.
using ChosenDefaults = std::map<std::string, std::string>;

// The file for one model. What is not among the chosen defaults keeps the table's; the choices are
// written as they are, whether or not the table offers them; `no_profile`, chosen for ICCProfile,
// leaves that option without a default, which is how the filter wants it. Options that no dialog
// shows are in the file only when they are chosen.
[[nodiscard]] std::string ppd_text(const Model& model, const std::string& version,
                                   const ChosenDefaults& chosen = {});

}  // namespace ppd
