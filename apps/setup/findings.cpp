#include "apps/setup/findings.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace k905 {

int Findings::problems() const {
  return static_cast<int>(std::ranges::count(all_, Level::problem, &Finding::level));
}

Findings of_member(const std::string& member, const Findings& findings) {
  Findings named;
  for (const Finding& finding : findings.all()) {
    if (finding.level != Level::ok) {
      named.add({finding.level, member + ": " + finding.text, finding.advice});
    }
  }
  return named;
}

std::string lines_of(const Findings& findings) {
  std::string text;
  for (const Finding& finding : findings.all()) {
    text += finding.level == Level::ok     ? "ok       "
            : finding.level == Level::note ? "note     "
                                           : "PROBLEM  ";
    text += finding.text + "\n";
    if (!finding.advice.empty()) {
      text += "         -> " + finding.advice + "\n";
    }
  }
  return text;
}

std::string as_text(const std::string& queue, const Findings& findings) {
  std::string text = lines_of(findings);
  const int problems = findings.problems();
  text += queue + (problems == 0 ? ": ready to print" : ": " + std::to_string(problems));
  return text + (problems == 0 ? "\n" : problems == 1 ? " problem\n" : " problems\n");
}

std::string as_json(const std::string& queue, const Findings& findings) {
  using Json = nlohmann::ordered_json;
  Json list = Json::array();
  for (const Finding& finding : findings.all()) {
    Json entry{{"level", finding.level == Level::ok     ? "ok"
                         : finding.level == Level::note ? "note"
                                                        : "problem"},
               {"text", finding.text}};
    if (!finding.advice.empty()) {
      entry["advice"] = finding.advice;
    }
    list.push_back(entry);
  }
  const Json object{{"queue", queue},
                    {"ready", findings.problems() == 0},
                    {"problems", findings.problems()},
                    {"findings", list}};
  // Names and messages come from outside and need not be valid UTF-8.
  return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace k905
