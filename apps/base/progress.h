// A progress counter on the terminal.
#pragma once

#include <chrono>
#include <mutex>
#include <string>

// Writes a line such as "<what> 3 of 20" to standard error and overwrites it, at most ten times a
// second. Writes nothing if standard error is not a terminal or there is only one item.
class Progress {
 public:
  // `total` 0: unknown, only the count is shown.
  Progress(std::string what, int total);
  ~Progress();  // erases the line
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(int done);

  // Erases the line, so that other output can be written; the next show() writes it again.
  void erase();

 private:
  std::mutex mutex_;  // for the members below: several threads call show() and erase()
  std::string what_;
  int total_;
  bool on_terminal_;
  bool shown_ = false;
  std::chrono::steady_clock::time_point last_{};
};
