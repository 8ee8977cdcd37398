#include "apps/setup/queue_options.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <span>

#include "apps/base/text.h"

namespace k905 {

namespace {

using Values = std::span<const char* const>;

constexpr std::array<const char*, 4> policies{"abort-job", "retry-current-job", "retry-job",
                                              "stop-printer"};
constexpr std::array<const char*, 2> booleans{"true", "false"};
constexpr std::array<const char*, 5> scalings{"fill", "fit", "auto", "auto-fit", "none"};
constexpr std::array<const char*, 3> color_modes{"auto", "color", "monochrome"};
constexpr std::array<const char*, 4> orientations{"3", "4", "5", "6"};
constexpr std::array<const char*, 6> pages_per_side{"1", "2", "4", "6", "9", "16"};

struct Attribute {
  const char* name;
  Values values = {};  // empty: any text
};

// The attributes that lpadmin accepts for a queue, in addition to the options of its PPD file. The
// paper is not among them: that is PageSize.
constexpr std::array<Attribute, 33> attributes{{
    {"printer-error-policy", policies},
    {"printer-is-shared", booleans},
    {"printer-op-policy"},
    {"printer-info"},
    {"printer-location"},
    {"printer-geo-location"},
    {"printer-organization"},
    {"printer-organizational-unit"},
    {"port-monitor"},
    {"job-k-limit"},
    {"job-page-limit"},
    {"job-quota-period"},
    {"copies-default"},
    {"finishings-default"},
    {"fit-to-page-default", booleans},
    {"job-cancel-after-default"},
    {"job-hold-until-default"},
    {"job-priority-default"},
    {"job-sheets-default"},
    {"mirror-default", booleans},
    {"natural-scaling-default"},
    {"number-up-default", pages_per_side},
    {"number-up-layout-default"},
    {"orientation-requested-default", orientations},
    {"page-border-default"},
    {"position-default"},
    {"ppi-default"},
    {"print-color-mode-default", color_modes},
    {"print-content-optimize-default"},
    {"print-scaling-default", scalings},
    {"scaling-default"},
    {"usb-no-reattach-default", booleans},
    {"usb-unidirectional-default", booleans},
}};

std::optional<std::string> add_attribute(QueueOptions& options, const Attribute& attribute,
                                         const std::string& value) {
  const auto is_value = [&](const char* known) { return value == known; };
  if (!attribute.values.empty() && std::ranges::none_of(attribute.values, is_value)) {
    std::string known;
    for (const char* name : attribute.values) {
      append_to_list(known, name);
    }
    return std::string(attribute.name) + " is one of " + known + ", not \"" + value + "\"";
  }
  options.attributes[attribute.name] = value;
  return std::nullopt;
}

// A model offers its own profile and the common ones.
bool offers_choice(const ppd::Model& model, const std::string& keyword, const std::string& choice) {
  if (keyword != "ICCProfile") {
    std::string ignored;
    return check_choice(keyword, choice, ignored);
  }
  return (model.profile != nullptr && choice == model.profile) ||
         std::ranges::any_of(ppd::profiles,
                             [&](const ppd::Choice& known) { return choice == known.name; });
}

std::optional<std::string> add_choice(QueueOptions& options, const std::string& keyword,
                                      const std::string& choice) {
  const std::string paper = keyword == "PageSize" ? page_size_name(choice) : "";
  const std::string& name = paper.empty() ? choice : paper;
  if (offers_choice(*options.model, keyword, name)) {
    options.choices[keyword] = name;
    return std::nullopt;
  }
  if (keyword == "ICCProfile") {
    const std::string own = options.model->profile == nullptr ? "" : options.model->profile;
    return "ICCProfile is one of " + own + (own.empty() ? "" : ", ") + names_of_choices(keyword) +
           ", not \"" + choice + "\"";
  }
  std::string error;
  (void)check_choice(keyword, choice, error);
  if (names_of_choices(keyword).empty()) {
    for (const Attribute& attribute : attributes) {
      append_to_list(error, attribute.name);
    }
  }
  return error;
}

}  // namespace

const ppd::Model* find_model(const std::string& name) {
  const auto* found = std::ranges::find_if(ppd::models, [&](const ppd::Model& model) {
    return strcasecmp(model.name, name.c_str()) == 0;
  });
  return found == ppd::models.end() ? nullptr : found;
}

std::optional<std::string> add_option(QueueOptions& options, const std::string& text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos) {
    return "not OPTION=CHOICE: \"" + text + "\"";
  }
  const std::string name = text.substr(0, equals);
  const std::string value = text.substr(equals + 1);
  const auto* attribute =
      std::ranges::find_if(attributes, [&](const Attribute& known) { return name == known.name; });
  return attribute == attributes.end() ? add_choice(options, name, value)
                                       : add_attribute(options, *attribute, value);
}

}  // namespace k905
