#include "apps/base/spawn.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "apps/base/descriptor.h"

namespace k905 {

namespace {

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

// Blocks all signals during its lifetime: between fork and exec, one of our handlers would run in
// the child.
class AllSignalsBlocked {
 public:
  AllSignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  AllSignalsBlocked(const AllSignalsBlocked&) = delete;
  AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

 private:
  sigset_t before_{};
};

// ---- in the child, where only async-signal-safe functions may be called ----

// A descriptor that stays valid while the standard descriptors are replaced one by one: one above
// them, or `place` itself. -1 becomes /dev/null.
int movable_source(int descriptor, int place) {
  if (descriptor < 0) {
    descriptor = open("/dev/null", O_RDWR | O_CLOEXEC);
  }
  const bool must_move = descriptor <= STDERR_FILENO && descriptor != place;
  return must_move ? fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1) : descriptor;
}

bool clear_close_on_exec(int descriptor) { return fcntl(descriptor, F_SETFD, 0) == 0; }

bool set_standard_descriptors(const SpawnSetup& setup) {
  const std::array<int, 3> wanted{setup.input, setup.output, setup.error};
  std::array<int, 3> sources{};
  for (int place = 0; place <= STDERR_FILENO; ++place) {
    sources.at(place) = movable_source(wanted.at(place), place);
  }
  for (int place = 0; place <= STDERR_FILENO; ++place) {
    const int source = sources.at(place);
    const bool placed = source == place ? clear_close_on_exec(place) : dup2(source, place) == place;
    if (!placed) {
      return false;
    }
  }
  return setup.inherited < 0 || clear_close_on_exec(setup.inherited);
}

void end_with_parent(pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) {
    _exit(127);
  }
}

// An exec resets handlers to the default action.
void set_signals(const SpawnSetup& setup) {
  struct sigaction ignore = {};
  ignore.sa_handler = SIG_IGN;
  for (const int signal : setup.ignored) {
    sigaction(signal, &ignore, nullptr);
  }
  for (int signal = 1; signal < NSIG; ++signal) {
    struct sigaction current = {};
    if (sigaction(signal, nullptr, &current) == 0 && current.sa_handler != SIG_IGN) {
      current = {};
      sigaction(signal, &current, nullptr);  // a pending signal must not run one of our handlers
    }
  }
  sigprocmask(SIG_SETMASK, &setup.blocked, nullptr);
}

// Returns the error if the program could not be started.
int set_up_and_exec(const SpawnSetup& setup, char* const* argv, char* const* envp) {
  if (!set_standard_descriptors(setup)) {
    return errno;
  }
  set_signals(setup);
  execve(setup.program.c_str(), argv, envp);
  return errno;
}

}  // namespace

void make_children_waitable() {
  struct sigaction current = {};
  if (sigaction(SIGCHLD, nullptr, &current) == 0 && current.sa_handler == SIG_IGN) {
    std::signal(SIGCHLD, SIG_DFL);
  }
}

sigset_t no_signals() {
  sigset_t none;
  sigemptyset(&none);
  return none;
}

Child spawn(const SpawnSetup& setup) {
  // Everything that needs memory is allocated before the fork.
  std::vector<std::string> arguments = setup.arguments;
  std::vector<std::string> environment = environment_with(setup.environment);
  const std::vector<char*> argv = pointers_to(arguments);
  const std::vector<char*> envp = pointers_to(environment);
  // The exec closes its write end; if it fails, errno is written to it.
  Pipe failure;
  if (!failure.open()) {
    return Child();
  }
  make_children_waitable();
  const pid_t parent = getpid();
  pid_t id = -1;
  {
    const AllSignalsBlocked blocked;
    id = fork();
    if (id == 0) {
      end_with_parent(parent);
      const int reason = set_up_and_exec(setup, argv.data(), envp.data());
      (void)!write(failure.write_end.get(), &reason, sizeof reason);
      _exit(127);
    }
  }
  if (id < 0) {
    return Child();
  }
  Child child(id);
  failure.write_end.reset();
  int reason = 0;
  ssize_t got = 0;
  do {
    got = read(failure.read_end.get(), &reason, sizeof reason);
  } while (got < 0 && errno == EINTR);
  if (got == sizeof reason) {
    (void)child.wait();
    errno = reason;
  }
  return child;
}

Child::Child(Child&& other) noexcept : id_(std::exchange(other.id_, -1)) {}

Child& Child::operator=(Child&& other) noexcept {
  std::swap(id_, other.id_);
  return *this;
}

Child::~Child() {
  if (id_ > 0) {
    send(SIGKILL);
    (void)wait();
  }
}

void Child::send(int signal) const {
  if (id_ > 0) {
    kill(id_, signal);
  }
}

namespace {

ChildEnd end_of(int status) {
  return WIFSIGNALED(status) ? ChildEnd{.status = 0, .signal = WTERMSIG(status)}
                             : ChildEnd{.status = WEXITSTATUS(status), .signal = 0};
}

constexpr ChildEnd kUnknownEnd{.status = 127, .signal = 0};

}  // namespace

ChildEnd Child::wait() {
  if (id_ <= 0) {
    return kUnknownEnd;
  }
  int status = 0;
  pid_t seen = 0;
  do {
    seen = waitpid(id_, &status, 0);
  } while (seen < 0 && errno == EINTR);
  id_ = -1;
  return seen < 0 ? kUnknownEnd : end_of(status);
}

bool Child::ended(ChildEnd& end) {
  int status = 0;
  const pid_t seen = id_ > 0 ? waitpid(id_, &status, WNOHANG) : -1;
  if (seen == 0 || (seen < 0 && errno == EINTR)) {
    return false;
  }
  id_ = -1;
  end = seen < 0 ? kUnknownEnd : end_of(status);
  return true;
}

}  // namespace k905
