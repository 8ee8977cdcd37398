#include "tests/support/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/support/build_paths.h"

// Exists only in programs that measure line coverage.
extern "C" [[gnu::weak]] void __gcov_dump();

namespace {

constexpr char kLeakOptions[] = "LSAN_OPTIONS";

void close_descriptor(int& descriptor) {
  if (descriptor >= 0) {
    close(descriptor);
    descriptor = -1;
  }
}

// Mounts the folder in a private mount namespace, so that other processes keep their /tmp.
bool mount_over_tmp(const char* folder) {
  return unshare(CLONE_NEWNS) == 0 &&
         mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount(folder, "/tmp", nullptr, MS_BIND, nullptr) == 0;
}

std::vector<char*> pointers_to(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string& text : texts) {
    pointers.push_back(text.data());
  }
  pointers.push_back(nullptr);
  return pointers;
}

// Reads available bytes; closes at the end of the stream.
void drain(int& descriptor, std::string& text) {
  std::array<char, 65536> piece;
  const ssize_t got = read(descriptor, piece.data(), piece.size());
  if (got > 0) {
    text.append(piece.data(), static_cast<std::size_t>(got));
  } else if (got == 0 || (errno != EINTR && errno != EAGAIN)) {
    close_descriptor(descriptor);
  }
}

void feed(int& descriptor, const std::string& input, std::size_t& fed) {
  const ssize_t written = write(descriptor, input.data() + fed, input.size() - fed);
  if (written > 0) {
    fed += static_cast<std::size_t>(written);
  } else if (written < 0 && errno != EAGAIN && errno != EINTR) {
    fed = input.size();  // The child no longer reads.
  }
  if (fed == input.size()) {
    close_descriptor(descriptor);
  }
}

}  // namespace

Pipe make_pipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    std::abort();
  }
  return {ends[0], ends[1]};
}

int start_child(const ChildSetup& setup, int in, int out, int err) {
  std::vector<std::string> arguments = setup.arguments;
  std::vector<std::string> variables;
  for (const auto& [name, value] : setup.environment) {
    variables.push_back(std::string(name).append("=").append(value));
  }
  if (const char* leaks = std::getenv(kLeakOptions);
      leaks != nullptr && !setup.environment.contains(kLeakOptions)) {
    variables.push_back(std::string(kLeakOptions).append("=").append(leaks));
  }
  const std::vector<char*> argv = pointers_to(arguments);
  const std::vector<char*> envp = pointers_to(variables);
  // Absolute, because the child may have another working folder.
  const std::string program = std::filesystem::absolute(setup.program);

  const pid_t child = fork();
  if (child != 0) {
    return child;
  }
  std::signal(SIGPIPE, SIG_DFL);
  const std::array<int, 3> wanted = {in, out, err};
  for (int standard = 0; standard < 3; ++standard) {
    const int descriptor = wanted[static_cast<std::size_t>(standard)];
    if (descriptor < 0) {
      close(standard);
    } else {
      dup2(descriptor, standard);
    }
  }
  // The folder first, then the mount: the folder may be in the /tmp that is about to be covered.
  if (!setup.working_folder.empty() && chdir(setup.working_folder.c_str()) != 0) {
    _exit(126);
  }
  if (!setup.private_tmp.empty() && !mount_over_tmp(setup.private_tmp.c_str())) {
    _exit(126);
  }
  execve(program.c_str(), argv.data(), envp.data());
  _exit(127);
}

void leave_child(int status) {
  if (__gcov_dump != nullptr) __gcov_dump();
  _exit(status);
}

ChildEnd wait_for_child(int process_id, std::chrono::seconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  int ended = 0;
  while (waitpid(process_id, &ended, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > deadline) {
      kill(process_id, SIGKILL);
      waitpid(process_id, &ended, 0);
      break;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  if (WIFEXITED(ended)) {
    return {WEXITSTATUS(ended), 0};
  }
  return {-1, WIFSIGNALED(ended) ? WTERMSIG(ended) : 0};
}

ChildResult run_child(const ChildSetup& setup) {
  Pipe in = make_pipe();
  Pipe out = make_pipe();
  Pipe err = make_pipe();
  std::signal(SIGPIPE, SIG_IGN);
  const pid_t child = start_child(setup, in.read_end, out.write_end, err.write_end);
  close_descriptor(in.read_end);
  close_descriptor(out.write_end);
  close_descriptor(err.write_end);
  fcntl(in.write_end, F_SETFL, O_NONBLOCK);

  ChildResult result;
  result.process_id = child;
  std::size_t fed = 0;
  if (setup.input.empty()) {
    close_descriptor(in.write_end);
  }
  const auto deadline = std::chrono::steady_clock::now() + setup.time_limit;
  while (out.read_end >= 0 || err.read_end >= 0) {
    std::array<pollfd, 3> watched{
        {{in.write_end, POLLOUT, 0}, {out.read_end, POLLIN, 0}, {err.read_end, POLLIN, 0}}};
    if (std::chrono::steady_clock::now() > deadline) {
      kill(child, SIGKILL);
      break;
    }
    if (poll(watched.data(), watched.size(), 1000) <= 0) {
      continue;
    }
    if (watched[0].revents != 0) {
      feed(in.write_end, setup.input, fed);
    }
    if (watched[1].revents != 0) {
      drain(out.read_end, result.output);
    }
    if (watched[2].revents != 0) {
      drain(err.read_end, result.log);
    }
  }
  close_descriptor(in.write_end);
  close_descriptor(out.read_end);
  close_descriptor(err.read_end);
  const ChildEnd end = wait_for_child(child);
  result.status = end.status;
  result.signal = end.signal;
  return result;
}

std::string filter_program() {
  const char* other = std::getenv("K905_FILTER");
  return other != nullptr ? other : K905_BINARY_DIR "/rastertok905";
}

bool private_tmp_possible() {
  const pid_t child = fork();
  if (child == 0) {
    _exit(mount_over_tmp("/tmp") ? 0 : 1);
  }
  int ended = 0;
  waitpid(child, &ended, 0);
  return WIFEXITED(ended) && WEXITSTATUS(ended) == 0;
}

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

ScratchFolder::ScratchFolder() {
  path_ = (std::filesystem::temp_directory_path() / "k905_test_XXXXXX").string();
  if (mkdtemp(path_.data()) == nullptr) {
    std::abort();
  }
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string ScratchFolder::write(const std::string& name, const std::string& bytes) const {
  std::string path = path_ + "/" + name;
  std::ofstream(path, std::ios::binary) << bytes;
  return path;
}

std::optional<std::string> ScratchFolder::read(const std::string& name) const {
  if (!std::filesystem::exists(path_ + "/" + name)) {
    return std::nullopt;
  }
  return read_file(path_ + "/" + name);
}
