// The installed PPD files, and the content of a queue's file.
#pragma once

#include <cups/ppd.h>

#include <string>

#include "apps/base/choices.h"
#include "apps/base/queue_ppd.h"
#include "ppd/option_table.h"

namespace k905 {

// The model's file with these defaults, and the standard defaults for all other options.
[[nodiscard]] std::string installed_ppd(const ppd::Model& model, Choices defaults);

// Adds a mark to the file of a queue whose device address the user chose, so that an update keeps
// the address; checks for the mark.
[[nodiscard]] std::string with_kept_device(const std::string& ppd);
[[nodiscard]] bool has_kept_device(ppd_file_t& ppd);

// The model that the file is for; null for other printers.
[[nodiscard]] const ppd::Model* model_of(ppd_file_t& ppd);

// True if the files are equal except for defaults and the mark of a kept address.
[[nodiscard]] bool differ_in_defaults_only(const std::string& one, const std::string& other);

}  // namespace k905
