// PPD files for tests: groups of options with their default choices.
#pragma once

#include <optional>
#include <string>
#include <vector>

struct PpdOption {
  std::string keyword;
  std::string default_choice;
};

struct PpdGroup {
  std::string name;
  std::vector<PpdOption> options;
};

// The content of a PPD file, as far as the filter reads it.
struct PpdDescription {
  std::optional<std::string> product = "(K905)";
  std::optional<std::string> manufacturer = "Maker";
  std::optional<std::string> model_name = "K905";
  std::vector<PpdGroup> groups;
};

// The text of such a file, as libcups reads it.
[[nodiscard]] std::string ppd_text(const PpdDescription& ppd);
