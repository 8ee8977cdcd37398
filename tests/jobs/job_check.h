// Runs one job through the built program and through the reference, and compares everything.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/ppd_builder.h"
#include "tests/support/raster_builder.h"

// A job as the print system, or a person, would start it.
struct JobRecipe {
  std::vector<std::string> arguments{"K905", "17", "me", "holiday", "1", ""};
  std::optional<PpdDescription> ppd = PpdDescription{};  // none: a run by hand, with images
  std::string ribbon;
  int max_message = 0;
  std::map<std::string, std::string> files;  // in the folder the filter is started in
  std::string input;

  // The PPD's default choice for one option.
  void choose(const std::string& keyword, const std::string& choice);
};

// Fails the test, saying where, when status, printer bytes, log or images differ.
void expect_like_reference(const JobRecipe& recipe);
