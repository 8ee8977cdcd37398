// argc and argv as main() gets them: writable, with a null at the end.
#pragma once

#include <string>
#include <utility>
#include <vector>

class ArgumentList {
 public:
  explicit ArgumentList(std::vector<std::string> arguments) : texts_(std::move(arguments)) {
    for (std::string& text : texts_) {
      pointers_.push_back(text.data());
    }
    pointers_.push_back(nullptr);
  }
  ArgumentList(const ArgumentList&) = delete;
  ArgumentList& operator=(const ArgumentList&) = delete;

  [[nodiscard]] int count() const { return static_cast<int>(texts_.size()); }
  [[nodiscard]] char** values() { return pointers_.data(); }

 private:
  std::vector<std::string> texts_;
  std::vector<char*> pointers_;
};
