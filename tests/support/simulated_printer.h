// k905-sim as a child process.
#pragma once

#include <string>
#include <vector>

class SimulatedPrinter {
 public:
  // Starts it with these arguments and waits for its first line.
  explicit SimulatedPrinter(const std::vector<std::string>& arguments = {});
  ~SimulatedPrinter();  // ends it with SIGTERM if it is still running
  SimulatedPrinter(const SimulatedPrinter&) = delete;
  SimulatedPrinter& operator=(const SimulatedPrinter&) = delete;

  // The path of the pseudo-terminal; empty if the program did not start.
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] int process_id() const { return process_; }

  // The next line of its standard output; "" if none arrives within a minute.
  std::string next_line();

  // Writes a command to its standard input and returns the lines up to "ok" or "error: ...", which
  // is the last. Start it with --commands.
  std::vector<std::string> command(const std::string& text);

  // Sends the signal and returns the exit status, -1 if it does not exit by itself.
  int end(int signal);

  // Opens the terminal, writes everything and closes it. False on failure.
  [[nodiscard]] bool send(const std::string& bytes) const;

 private:
  int process_ = -1;
  int input_ = -1;
  int output_ = -1;
  std::string unread_;
  std::string path_;
};
