// A child process that is spoken to step by step, for what depends on the moment.
#pragma once

#include <string>
#include <vector>

#include "tests/support/child_process.h"

class Conversation {
 public:
  explicit Conversation(const ChildSetup& setup);
  ~Conversation();
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;

  void say(const std::string& bytes) const;
  void end_input();
  void send(int signal) const;
  void close_output();

  // Read on until so much has come; false when the stream ended before.
  bool wait_for_line(const std::string& text);
  bool wait_for_lines(std::size_t count);
  bool wait_for_output(std::size_t count);

  // Reads on, from both streams, until so many lines and so many bytes of output have come, for no
  // longer than `patience`.
  void read_until(std::size_t lines, std::size_t bytes, std::chrono::milliseconds patience);

  // Reads both streams to their ends and waits. A child that does not come to an end is killed.
  ChildEnd finish();

  [[nodiscard]] std::vector<std::string> log() const;
  [[nodiscard]] const std::string& output() const { return output_; }

 private:
  // Reads what comes on either stream within a second, or less.
  void read_either(std::chrono::milliseconds patience = std::chrono::seconds(1));

  Pipe in_ = make_pipe();
  Pipe out_ = make_pipe();
  Pipe err_ = make_pipe();
  int child_ = -1;
  bool out_open_ = true;
  bool err_open_ = true;
  std::string log_;
  std::string output_;
};
