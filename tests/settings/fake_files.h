// Profile files for tests: which exist is said here, not by the machine the test runs on.
#pragma once

#include <set>
#include <string>
#include <vector>

// While one lives, stat finds exactly the files given and remembers every path it was
// asked for; of several the innermost is in force.
class FakeFiles {
 public:
  explicit FakeFiles(std::set<std::string> existing = {});
  ~FakeFiles();
  FakeFiles(const FakeFiles&) = delete;
  FakeFiles& operator=(const FakeFiles&) = delete;

  [[nodiscard]] const std::vector<std::string>& asked() const { return asked_; }
  [[nodiscard]] int answer(const char* path);

 private:
  std::set<std::string> existing_;
  std::vector<std::string> asked_;
  FakeFiles* outer_;
};
