#include "apps/base/filter_child.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace {

constexpr char kFilterName[] = "/rastertok905";

std::string folder_of_this_program() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
  if (length <= 0) {
    return "";
  }
  const std::string self(path, static_cast<std::size_t>(length));
  return self.substr(0, self.rfind('/'));
}

std::vector<std::string> filter_folders() {
  std::vector<std::string> folders;
  const std::string own = folder_of_this_program();
  if (!own.empty()) {
    folders.push_back(own);
    folders.push_back(own.substr(0, own.rfind('/')) + "/" K905_FILTER_FOLDER);
  }
  if (const char* server = std::getenv("CUPS_SERVERBIN")) {
    folders.push_back(std::string(server) + "/filter");
  }
  folders.emplace_back("/usr/lib/cups/filter");
  folders.emplace_back("/usr/libexec/cups/filter");
  return folders;
}

std::vector<std::string> environment_with(const std::map<std::string, std::string>& changes) {
  std::vector<std::string> all;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string text = *variable;
    if (!changes.contains(text.substr(0, text.find('=')))) {
      all.push_back(text);
    }
  }
  for (const auto& [name, value] : changes) {
    if (!value.empty()) {
      all.emplace_back(name).append("=").append(value);
    }
  }
  return all;
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

// In the child, where only what the system itself does is safe to call.
void put_in_place(int descriptor, int place) {
  const int from = descriptor >= 0 ? descriptor : open("/dev/null", O_RDWR | O_CLOEXEC);
  if (from == place) {
    fcntl(place, F_SETFD, 0);
  } else {
    dup2(from, place);
  }
}

void prepare_signals(bool ends_with_parent) {
  signal(SIGINT, ends_with_parent ? SIG_DFL : SIG_IGN);
#ifdef __linux__
  if (ends_with_parent) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
  }
#endif
  signal(SIGTERM, SIG_DFL);
  signal(SIGPIPE, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

}  // namespace

std::string find_filter() {
  if (const char* chosen = std::getenv("K905_FILTER")) {
    return chosen;
  }
  for (const std::string& folder : filter_folders()) {
    if (access((folder + kFilterName).c_str(), X_OK) == 0) {
      return folder + kFilterName;
    }
  }
  return "";
}

pid_t start_filter(const FilterStart& start, int inherited) {
  // All that needs memory is made before the fork.
  std::vector<std::string> arguments = start.arguments;
  std::vector<std::string> environment = environment_with(start.environment);
  std::vector<char*> argv = pointers_to(arguments);
  std::vector<char*> envp = pointers_to(environment);
  // Its write end closes when the exec succeeds and carries errno when it does not.
  int failure[2];
  if (pipe2(failure, O_CLOEXEC) != 0) {
    return -1;
  }
  const pid_t child = fork();
  if (child == 0) {
    put_in_place(start.input, STDIN_FILENO);
    put_in_place(start.output, STDOUT_FILENO);
    put_in_place(start.log, STDERR_FILENO);
    if (inherited >= 0) {
      fcntl(inherited, F_SETFD, 0);
    }
    prepare_signals(start.ends_with_us);
    execve(start.program.c_str(), argv.data(), envp.data());
    const int reason = errno;
    (void)!write(failure[1], &reason, sizeof reason);
    _exit(127);
  }
  close(failure[1]);
  int reason = 0;
  const bool failed = child > 0 && read(failure[0], &reason, sizeof reason) == sizeof reason;
  close(failure[0]);
  if (failed) {
    (void)wait_for_filter(child);
    errno = reason;
    return -1;
  }
  return child;
}

int wait_for_filter(pid_t filter) {
  int status = 0;
  while (waitpid(filter, &status, 0) < 0) {
    if (errno != EINTR) {
      return 127;
    }
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}
