// How far a long piece of work has come, for somebody who watches.
#pragma once

#include <chrono>
#include <mutex>
#include <string>

// Writes "<what> 3 of 20" over itself on standard error, at most ten times a second, and nothing at
// all when standard error is no terminal or there is only one thing to do.
class Progress {
 public:
  // `total` 0: unknown, only the count is shown.
  Progress(std::string what, int total);
  ~Progress();  // wipes the line
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(int done);

  // Takes the line away, so that other output can be written; the next show() brings it back.
  void wipe();

 private:
  std::mutex in_use_;  // lines are also written while another thread prints
  std::string what_;
  int total_;
  bool watched_;
  bool shown_ = false;
  std::chrono::steady_clock::time_point last_{};
};
