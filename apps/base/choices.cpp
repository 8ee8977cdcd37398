#include "apps/base/choices.h"

#include <algorithm>

#include "apps/base/text.h"
#include "paper/paper_names.h"
#include "ppd/option_table.h"

namespace {

const ppd::Option* find_option(const std::string& keyword) {
  for (const ppd::Group& group : ppd::groups) {
    for (const ppd::Option& option : group.options) {
      if (keyword == option.keyword) {
        return &option;
      }
    }
  }
  return nullptr;
}

std::string names_of_papers() {
  std::string names;
  for (const PaperConfig& paper : selectable_papers) {
    append_to_list(names, paper.ppd_name);
  }
  return names;
}

std::string names_of_options() {
  std::string names = "PageSize";
  for (const ppd::Group& group : ppd::groups) {
    for (const ppd::Option& option : group.options) {
      append_to_list(names, option.keyword);
    }
  }
  return names;
}

// Options of a job are separated by spaces.
bool is_one_word(const std::string& text) {
  return !text.empty() && std::ranges::all_of(text, [](unsigned char letter) {
    return letter > ' ' && letter != 0x7f && letter != '\'' && letter != '"' && letter != '\\';
  });
}

bool offers(const ppd::Option& option, const std::string& name) {
  return std::ranges::any_of(option.choices,
                             [&](const ppd::Choice& choice) { return name == choice.name; });
}

}  // namespace

bool check_choice(const std::string& keyword, const std::string& choice, std::string& error) {
  if (keyword == "ICCProfile" && is_one_word(choice)) {
    return true;
  }
  if (keyword == "PageSize" && find_paper_by_ppd_name(choice.c_str()) != nullptr) {
    return true;
  }
  const ppd::Option* option = find_option(keyword);
  if (option != nullptr && offers(*option, choice)) {
    return true;
  }
  if (keyword == "PageSize") {
    error = unknown_paper(choice);
    return false;
  }
  const std::string names = names_of_choices(keyword);
  error = names.empty() ? "unknown option \"" + keyword + "\"; known options: " + names_of_options()
                        : keyword + " is one of " + names + ", not \"" + choice + "\"";
  return false;
}

std::string page_size_name(const std::string& paper) {
  const PaperConfig* row = find_paper_by_usual_name(paper);
  return row == nullptr ? "" : row->ppd_name;
}

std::string unknown_paper(const std::string& paper) {
  std::string names;
  for (const PaperConfig& row : selectable_papers) {
    append_to_list(names, std::string(row.label) + " (" + row.ppd_name + ")");
  }
  return "unknown paper \"" + paper + "\"; known papers: " + names;
}

bool apply_cut(Choices& choices, std::string& error) {
  const std::string cut = choices.contains("K905Cut") ? choices.at("K905Cut") : "None";
  const PaperConfig* paper = find_paper_by_ppd_name(choices.at("PageSize").c_str());
  const PaperConfig* result = paper == nullptr ? nullptr : find_cut_variant(*paper, cut);
  if (result == nullptr) {
    error = choices.at("PageSize") + " cannot be cut into " + cut;
    return false;
  }
  choices["PageSize"] = result->ppd_name;
  return true;
}

Choices default_choices() {
  Choices choices{{"PageSize", ppd::default_paper}};
  for (const ppd::Group& group : ppd::groups) {
    for (const ppd::Option& option : group.options) {
      choices[option.keyword] = option.default_choice;
    }
  }
  return choices;
}

std::string names_of_choices(const std::string& keyword) {
  if (keyword == "PageSize") {
    return names_of_papers();
  }
  std::string names;
  if (const ppd::Option* option = find_option(keyword)) {
    for (const ppd::Choice& choice : option->choices) {
      append_to_list(names, choice.name);
    }
  }
  return names;
}
