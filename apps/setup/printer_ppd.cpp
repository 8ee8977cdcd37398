#include "apps/setup/printer_ppd.h"

#include <algorithm>
#include <map>
#include <sstream>

#include "apps/setup/queue_options.h"
#include "ppd/ppd_text.h"

namespace k905 {

namespace {

constexpr char kKeptDevice[] = "K905KeptDevice";

std::string without_defaults(const std::string& text) {
  std::istringstream lines(text);
  std::string kept;
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("*Default") && line.find(kKeptDevice) == std::string::npos) {
      kept += line + '\n';
    }
  }
  return kept;
}

}  // namespace

std::string installed_ppd(const ppd::Model& model, Choices defaults) {
  // ppd_text() would write no default for this choice, and a dialog could not show one.
  std::erase_if(defaults, [](const auto& choice) {
    return choice.first == "ICCProfile" && choice.second == ppd::no_profile;
  });
  // Options without an effect on the print stay out of the dialogs, even if a default is set.
  for (const ppd::Group& group : ppd::groups) {
    for (const ppd::Option& option : group.options) {
      if (!group.in_dialogs) {
        defaults.erase(option.keyword);
      }
    }
  }
  return ppd::ppd_text(model, K905_VERSION, defaults);
}

std::string with_kept_device(const std::string& ppd) {
  return ppd + "*" + kKeptDevice + ": \"true\"\n";
}

bool has_kept_device(ppd_file_t& ppd) { return ppdFindAttr(&ppd, kKeptDevice, nullptr) != nullptr; }

const ppd::Model* model_of(ppd_file_t& ppd) {
  const bool ours = ppdFindOption(&ppd, "StpLaminate") != nullptr && ppd.modelname != nullptr;
  return ours ? find_model(ppd.modelname) : nullptr;
}

bool differ_in_defaults_only(const std::string& one, const std::string& other) {
  return without_defaults(one) == without_defaults(other);
}

}  // namespace k905
