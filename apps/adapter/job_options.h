// The options of a job, as CUPS passes them to a filter in its fifth argument.
#pragma once

#include <cups/cups.h>

#include <string>

namespace k905 {

class JobOptions {
 public:
  // Null for no options.
  explicit JobOptions(const char* text)
      : count_(text == nullptr ? 0 : cupsParseOptions(text, 0, &all_)) {}
  ~JobOptions() { cupsFreeOptions(count_, all_); }
  JobOptions(const JobOptions&) = delete;
  JobOptions& operator=(const JobOptions&) = delete;
  [[nodiscard]] int count() const { return count_; }
  [[nodiscard]] cups_option_t* all() const { return all_; }

  // Empty if the job does not have the option.
  [[nodiscard]] std::string value(const char* name) const {
    const char* found = cupsGetOption(name, count_, all_);
    return found == nullptr ? "" : found;
  }

 private:
  cups_option_t* all_ = nullptr;
  int count_;
};

}  // namespace k905
