// The text of a queue's PPD file, from the paper table and the table of options.
#pragma once

#include <map>
#include <string>

#include "ppd/option_table.h"

namespace ppd {

// From keyword to choice. "PageSize" also sets the defaults of the page region and of the areas.
using ChosenDefaults = std::map<std::string, std::string>;

// The file for one model. Options that are not among the chosen defaults keep the default of the
// table. Choices are written unchanged, whether or not the table offers them; `no_profile` for
// ICCProfile leaves that option without a default, as the filter needs it. Options that are not
// shown in dialogs are in the file only if they are chosen.
[[nodiscard]] std::string ppd_text(const Model& model, const std::string& version,
                                   const ChosenDefaults& chosen = {});

}  // namespace ppd
