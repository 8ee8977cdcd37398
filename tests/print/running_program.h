// A program that goes on running while the test looks at what it does.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

class RunningProgram {
 public:
  // `environment` is all of it; both streams are collected together. `input` becomes standard
  // input.
  RunningProgram(const std::string& program, const std::vector<std::string>& arguments,
                 const std::map<std::string, std::string>& environment, int input = 0);
  ~RunningProgram();  // killed when it still runs
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  // Reads until the words have been said `times` times; false when the program ends or a minute
  // passes before.
  bool has_said(const std::string& words, int times = 1);

  void send_signal(int number) const;

  // Reads to the end and waits. The exit status, or -1 and the signal.
  int wait();

  [[nodiscard]] const std::string& said() const { return said_; }

 private:
  bool read_more(int timeout_ms);

  pid_t process_ = -1;
  int output_ = -1;
  std::string said_;
};
