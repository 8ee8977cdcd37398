// Runs a job through the built program and the reference, and compares all results.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/ppd_builder.h"
#include "tests/support/raster_builder.h"

// A job as CUPS or a user starts it.
struct JobRecipe {
  std::vector<std::string> arguments{"K905", "17", "me", "holiday", "1", ""};
  std::optional<PpdDescription> ppd = PpdDescription{};  // null: started by hand, with images
  std::string ribbon;
  int max_message = 0;
  std::map<std::string, std::string> files;  // in the working directory of the filter
  std::string input;

  // Sets the default choice of a PPD option.
  void choose(const std::string& keyword, const std::string& choice);
};

// Fails the test if exit status, printer bytes, log or images differ, and shows where.
void expect_like_reference(const JobRecipe& recipe);
