// A child process with which a test communicates step by step, for tests that depend on the order
// of events.
#pragma once

#include <string>
#include <vector>

#include "tests/support/child_process.h"

class InteractiveProcess {
 public:
  explicit InteractiveProcess(const ChildSetup& setup);
  ~InteractiveProcess();
  InteractiveProcess(const InteractiveProcess&) = delete;
  InteractiveProcess& operator=(const InteractiveProcess&) = delete;

  void write_input(const std::string& bytes) const;
  void end_input();
  void send_signal(int signal) const;
  void close_output();

  // Read until this was received; false if the stream ends first.
  bool wait_for_line(const std::string& text);
  bool wait_for_lines(std::size_t count);
  bool wait_for_output(std::size_t count);

  // Continues to read both streams until this many lines of the log and bytes of output were
  // received, but not longer than `timeout`.
  void read_until(std::size_t lines, std::size_t bytes, std::chrono::milliseconds timeout);

  // Reads both streams to their ends and waits. A child that does not end is killed.
  ChildEnd finish();

  [[nodiscard]] std::vector<std::string> log() const;
  [[nodiscard]] const std::string& output() const { return output_; }

 private:
  // Reads the data that arrives on either stream within `timeout`.
  void read_either(std::chrono::milliseconds timeout = std::chrono::seconds(1));

  Pipe in_ = make_pipe();
  Pipe out_ = make_pipe();
  Pipe err_ = make_pipe();
  int child_ = -1;
  bool out_open_ = true;
  bool err_open_ = true;
  std::string log_;
  std::string output_;
};
