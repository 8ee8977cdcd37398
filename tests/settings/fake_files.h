// Profile files for tests, independent of the files of the machine.
#pragma once

#include <set>
#include <string>
#include <vector>

// During its lifetime stat finds exactly the given files and records every requested path; if there
// are several objects, the newest is used.
class FakeFiles {
 public:
  explicit FakeFiles(std::set<std::string> existing = {});
  ~FakeFiles();
  FakeFiles(const FakeFiles&) = delete;
  FakeFiles& operator=(const FakeFiles&) = delete;

  [[nodiscard]] const std::vector<std::string>& requested() const { return requested_; }
  [[nodiscard]] int result_of(const char* path);

 private:
  std::set<std::string> existing_;
  std::vector<std::string> requested_;
  FakeFiles* outer_;
};
