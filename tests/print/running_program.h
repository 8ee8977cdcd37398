// A program that continues to run while the test checks its output.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

class RunningProgram {
 public:
  // `environment` is the complete environment; both streams are collected together. `input` becomes
  // standard input.
  RunningProgram(const std::string& program, const std::vector<std::string>& arguments,
                 const std::map<std::string, std::string>& environment, int input = 0);
  ~RunningProgram();  // kills the program if it is still running
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  // Reads until the output contains the text `times` times; false if the program ends or a minute
  // passes first.
  bool wait_for_output(const std::string& text, int times = 1);

  void send_signal(int number) const;

  // Reads to the end and waits. Returns the exit status, or -1 if a signal ended it.
  int wait();

  [[nodiscard]] const std::string& output() const { return text_; }

 private:
  bool read_more(int timeout_ms);

  pid_t process_ = -1;
  int output_ = -1;
  std::string text_;
};
