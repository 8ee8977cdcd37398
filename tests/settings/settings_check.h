// Reads settings as the filter does, and compares log and settings with those of the reference.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tests/support/ppd_builder.h"

struct SettingsJob {
  std::vector<std::string> arguments{"filter"};
  // Null: the variable PPD is not set.
  std::optional<PpdDescription> ppd = std::nullopt;
  // The content of the file; null: as ppd_text() writes `ppd`.
  std::optional<std::string> ppd_bytes = std::nullopt;
  // The only files that are found.
  std::set<std::string> existing_files = {};
  // No option sets it, but the summary shows it.
  bool cache_optimization = true;
};

// Reads the job's settings into current_options, which must have their defaults.
void expect_like_reference(const SettingsJob& job);
