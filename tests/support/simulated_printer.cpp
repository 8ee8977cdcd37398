#include "tests/support/simulated_printer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <utility>

#include "apps/base/write_all.h"
#include "tests/support/build_paths.h"
#include "tests/support/child_process.h"

namespace {

constexpr int kOutputTimeoutMs = 60000;

}  // namespace

SimulatedPrinter::SimulatedPrinter(const std::vector<std::string>& arguments) {
  const std::string program = K905_BINARY_DIR "/k905-sim";
  std::vector<char*> argv = {const_cast<char*>("k905-sim")};
  for (const std::string& argument : arguments) {
    argv.push_back(const_cast<char*>(argument.c_str()));
  }
  argv.push_back(nullptr);

  int ends[2] = {-1, -1};
  int input[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) != 0 || pipe2(input, O_CLOEXEC) != 0) {
    return;
  }
  process_ = fork();
  if (process_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(input[0], STDIN_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  close(input[0]);
  close(ends[1]);
  input_ = input[1];
  output_ = ends[0];
  path_ = next_line();
}

SimulatedPrinter::~SimulatedPrinter() {
  if (process_ > 0) {
    end(SIGTERM);
  }
  close(input_);
  close(output_);
}

std::string SimulatedPrinter::next_line() {
  std::size_t newline = 0;
  while ((newline = unread_.find('\n')) == std::string::npos) {
    pollfd ready{.fd = output_, .events = POLLIN, .revents = 0};
    char bytes[1024];
    const ssize_t got =
        poll(&ready, 1, kOutputTimeoutMs) > 0 ? read(output_, bytes, sizeof bytes) : -1;
    if (got <= 0) {
      return "";
    }
    unread_.append(bytes, static_cast<std::size_t>(got));
  }
  std::string line = unread_.substr(0, newline);
  unread_.erase(0, newline + 1);
  return line;
}

std::vector<std::string> SimulatedPrinter::command(const std::string& text) {
  std::vector<std::string> lines;
  if (write_all(input_, text + "\n")) {
    do {
      lines.push_back(next_line());
    } while (!lines.back().empty() && !lines.back().ends_with("ok") &&
             lines.back().find("error: ") == std::string::npos);
  }
  return lines;
}

int SimulatedPrinter::end(int signal) {
  kill(process_, signal);
  return wait_for_child(std::exchange(process_, -1)).status;
}

bool SimulatedPrinter::send(const std::string& bytes) const {
  const int terminal = open(path_.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
  if (terminal < 0) {
    return false;
  }
  const bool sent = write_all(terminal, bytes);
  close(terminal);
  return sent;
}
