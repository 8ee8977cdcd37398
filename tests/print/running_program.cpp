#include "tests/print/running_program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>

namespace {

std::vector<char*> pointers_to(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

int count_of(const std::string& text, const std::string& part) {
  int count = 0;
  for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) {
    ++count;
  }
  return count;
}

}  // namespace

RunningProgram::RunningProgram(const std::string& program,
                               const std::vector<std::string>& arguments,
                               const std::map<std::string, std::string>& environment, int input) {
  std::vector<std::string> all_arguments = arguments;
  all_arguments.insert(all_arguments.begin(), program);
  std::vector<std::string> variables;
  for (const auto& [name, value] : environment) {
    variables.push_back(name + "=" + value);
  }
  std::vector<char*> argv = pointers_to(all_arguments);
  std::vector<char*> envp = pointers_to(variables);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    return;
  }
  process_ = fork();
  if (process_ == 0) {
    dup2(input, STDIN_FILENO);
    dup2(ends[1], STDOUT_FILENO);
    dup2(ends[1], STDERR_FILENO);
    execve(program.c_str(), argv.data(), envp.data());
    _exit(127);
  }
  close(ends[1]);
  output_ = ends[0];
}

RunningProgram::~RunningProgram() {
  if (process_ > 0) {
    kill(process_, SIGKILL);
    (void)wait();
  }
  close(output_);
}

bool RunningProgram::read_more(int timeout_ms) {
  pollfd ready{output_, POLLIN, 0};
  char bytes[4096];
  const ssize_t got = poll(&ready, 1, timeout_ms) == 1 ? read(output_, bytes, sizeof bytes) : 0;
  if (got > 0) {
    text_.append(bytes, static_cast<std::size_t>(got));
  }
  return got > 0;
}

bool RunningProgram::wait_for_output(const std::string& text, int times) {
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (count_of(text_, text) < times) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        until - std::chrono::steady_clock::now());
    if (left.count() <= 0 || !read_more(static_cast<int>(left.count()))) {
      return false;
    }
  }
  return true;
}

void RunningProgram::send_signal(int number) const { kill(process_, number); }

int RunningProgram::wait() {
  while (read_more(60000)) {
  }
  int status = 0;
  waitpid(process_, &status, 0);
  process_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
