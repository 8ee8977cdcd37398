// The findings of a check, for users and programs.
#pragma once

#include <string>
#include <vector>

namespace k905 {

enum class Level { ok, note, problem };

struct Finding {
  Level level;
  std::string text;
  std::string advice;  // what to do, often a command; "" if nothing needs to be done
};

class Findings {
 public:
  void ok(const std::string& text) { all_.push_back({Level::ok, text, ""}); }
  void note(const std::string& text, const std::string& advice = "") {
    all_.push_back({Level::note, text, advice});
  }
  void problem(const std::string& text, const std::string& advice) {
    all_.push_back({Level::problem, text, advice});
  }
  void add(const Finding& finding) { all_.push_back(finding); }
  void add(const Findings& others) {
    all_.insert(all_.end(), others.all_.begin(), others.all_.end());
  }

  [[nodiscard]] const std::vector<Finding>& all() const { return all_; }
  [[nodiscard]] int problems() const;

 private:
  std::vector<Finding> all_;
};

// The problems and notes of a member of a class, with its name.
[[nodiscard]] Findings of_member(const std::string& member, const Findings& findings);

// One line per finding, advice on a line of its own.
[[nodiscard]] std::string lines_of(const Findings& findings);

// The lines and the result.
[[nodiscard]] std::string as_text(const std::string& queue, const Findings& findings);

// One line: an object with the keys queue, ready, problems and findings; each finding has level,
// text and, where there is any, advice.
[[nodiscard]] std::string as_json(const std::string& queue, const Findings& findings);

}  // namespace k905
