// The PPD file that was installed with this program, and what a queue's file says.
#pragma once

#include <cups/ppd.h>

#include <string>

#include "apps/base/choices.h"
#include "apps/base/queue_ppd.h"
#include "ppd/option_table.h"

namespace k905 {

// The model's file with these defaults; the usual ones for all other options.
[[nodiscard]] std::string installed_ppd(const ppd::Model& model, Choices defaults);

// The mark in the file of a queue whose device address the user chose: an update leaves it.
[[nodiscard]] std::string with_kept_device(const std::string& ppd);
[[nodiscard]] bool has_kept_device(ppd_file_t& ppd);

// Which of this printer's models the file is for; null when for none.
[[nodiscard]] const ppd::Model* model_of(ppd_file_t& ppd);

// Whether both are the same file except for defaults and that mark.
[[nodiscard]] bool differ_in_defaults_only(const std::string& one, const std::string& other);

}  // namespace k905
