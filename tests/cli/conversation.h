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

  // Reads both streams to their ends and waits. A child that does not come to an end is killed.
  ChildEnd finish();

  [[nodiscard]] std::vector<std::string> log() const;
  [[nodiscard]] const std::string& output() const { return output_; }

 private:
  Pipe in_ = make_pipe();
  Pipe out_ = make_pipe();
  Pipe err_ = make_pipe();
  int child_ = -1;
  std::string log_;
  std::string output_;
};
