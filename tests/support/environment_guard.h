// Restores an environment variable, or the settings record, at the end of a test.
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

#include "settings/print_options.h"

// Sets (or, with null, removes) an environment variable for the life of the guard.
class EnvironmentGuard {
 public:
  EnvironmentGuard(const char* name, const char* value) : name_(name) {
    if (const char* before = std::getenv(name)) {
      before_ = before;
    }
    set(value);
  }
  ~EnvironmentGuard() { set(before_ ? before_->c_str() : nullptr); }
  EnvironmentGuard(const EnvironmentGuard&) = delete;
  EnvironmentGuard& operator=(const EnvironmentGuard&) = delete;

 private:
  void set(const char* value) {
    if (value != nullptr) {
      setenv(name_.c_str(), value, 1);
    } else {
      unsetenv(name_.c_str());
    }
  }
  std::string name_;
  std::optional<std::string> before_;
};

// Restores current_options to its value at construction.
class SettingsGuard {
 public:
  SettingsGuard() : before_(current_options) {}
  ~SettingsGuard() { current_options = before_; }
  SettingsGuard(const SettingsGuard&) = delete;
  SettingsGuard& operator=(const SettingsGuard&) = delete;

 private:
  PrintOptions before_;
};
