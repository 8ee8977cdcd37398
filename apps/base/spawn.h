// Child processes: the one place where they are started, and how they ended.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <map>
#include <string>
#include <vector>

namespace k905 {

struct ChildEnd {
  int status = 0;  // exit status, when no signal ended the process
  int signal = 0;  // the signal that ended it, or 0

  // As a shell reports it: the exit status, or 128 and the signal.
  [[nodiscard]] int code() const { return signal != 0 ? 128 + signal : status; }
};

// Owns a child process, or none. A child that still runs at the end of its owner's life is killed.
class Child {
 public:
  Child() = default;
  explicit Child(pid_t id) : id_(id) {}
  ~Child();
  Child(Child&& other) noexcept;
  Child& operator=(Child&& other) noexcept;

  // Whether there is a child that was not yet seen to end.
  [[nodiscard]] explicit operator bool() const { return id_ > 0; }

  void send(int signal) const;

  // Waits for its end.
  ChildEnd wait();

  // Looks whether it has ended, without waiting. Only then `end` is set.
  [[nodiscard]] bool ended(ChildEnd& end);

 private:
  pid_t id_ = -1;
};

[[nodiscard]] sigset_t no_signals();

// SIGCHLD that was ignored at the start of this process gets its default action: otherwise the end
// of a child could not be learned. spawn() does so; for those who fork themselves.
void make_children_waitable();

struct SpawnSetup {
  std::string program;                             // a path
  std::vector<std::string> arguments;              // argv[0] included
  std::map<std::string, std::string> environment;  // set over our own; "" takes a variable away
  // Descriptors for its standard input, output and error; -1: /dev/null.
  int input = -1;
  int output = -1;
  int error = -1;
  int inherited = -1;        // one more, which keeps its number; -1: none
  std::vector<int> ignored;  // signals that it ignores
  // Signals that stay blocked over the exec: one that comes while the program is loaded waits until
  // the program unblocks it.
  sigset_t blocked = no_signals();
};

// Starts a program. It gets the descriptors named above and those that are open over an exec; of
// the signals, those that this process handles have their default action, those that this process
// was started with ignored stay ignored. It is killed when the thread that called spawn ends, and
// so with this process, however that ends.
//
// When the program cannot be started, no child is returned and errno is set. SIGCHLD that was
// ignored at the start of this process gets its default action, since the end of a child could not
// be learned otherwise.
[[nodiscard]] Child spawn(const SpawnSetup& setup);

}  // namespace k905
