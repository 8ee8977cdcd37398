#include "apps/base/choices.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "paper/paper_table.h"
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

std::string joined(const std::string& list, const std::string& name) {
  return list.empty() ? name : list + ", " + name;
}

std::string names_of_papers() {
  std::string names;
  for (const PaperConfig& paper : selectable_papers) {
    names = joined(names, paper.ppd_name);
  }
  return names;
}

std::string names_of_options() {
  std::string names = "PageSize";
  for (const ppd::Group& group : ppd::groups) {
    for (const ppd::Option& option : group.options) {
      names = joined(names, option.keyword);
    }
  }
  return names;
}

// Job options are words with blanks between them.
bool is_one_word(const std::string& text) {
  return !text.empty() && std::ranges::all_of(text, [](unsigned char letter) {
    return letter > ' ' && letter != 0x7f && letter != '\'' && letter != '"' && letter != '\\';
  });
}

bool offers(const ppd::Option& option, const std::string& name) {
  return std::ranges::any_of(option.choices,
                             [&](const ppd::Choice& choice) { return name == choice.name; });
}

// In lower case.
std::string without_blanks(const std::string& text) {
  std::string compact;
  for (const unsigned char letter : text) {
    if (std::isspace(letter) == 0) {
      compact += static_cast<char>(std::tolower(letter));
    }
  }
  return compact;
}

// The sides in centimeters as the words on the box give them: "15x10"; "" for cut papers.
std::string centimeters_of(const PaperConfig& paper) {
  for (const ppd::PaperWords& entry : ppd::paper_words) {
    const std::string words = without_blanks(entry.words);
    const std::size_t end = words.find("cm)");
    if (std::strcmp(entry.ppd_name, paper.ppd_name) == 0 && end != std::string::npos) {
      const std::size_t begin = words.find('(') + 1;
      return words.substr(begin, end - begin);
    }
  }
  return "";
}

// Whether `name` is `size` ("6x4", "6x2*4") with its sides in either order, with or without the
// unit.
bool is_called(const std::string& size, const std::string& unit, const std::string& name) {
  const std::string sides = size.substr(0, size.find('*'));
  const std::string strips = size.substr(sides.size());
  const std::size_t between = sides.find('x');
  if (between == std::string::npos) {
    return false;
  }
  const std::string swapped = sides.substr(between + 1) + "x" + sides.substr(0, between);
  return name == sides + strips || name == swapped + strips || name == sides + unit + strips ||
         name == swapped + unit + strips;
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
  if (const PaperConfig* row = find_paper_by_any_name(paper.c_str())) {
    return row->ppd_name;
  }
  const std::string name = without_blanks(paper);
  for (const PaperConfig& row : selectable_papers) {
    if (is_called(row.label, "in", name) || is_called(centimeters_of(row), "cm", name)) {
      return row.ppd_name;
    }
  }
  return "";
}

std::string unknown_paper(const std::string& paper) {
  std::string names;
  for (const PaperConfig& row : selectable_papers) {
    names = joined(names, std::string(row.label) + " (" + row.ppd_name + ")");
  }
  return "unknown paper \"" + paper + "\"; known papers: " + names;
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
      names = joined(names, choice.name);
    }
  }
  return names;
}
