// Starts child processes and reports how they ended.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <map>
#include <string>
#include <vector>

namespace k905 {

struct ChildEnd {
  int status = 0;  // exit status, if no signal ended the process
  int signal = 0;  // the signal that ended it, or 0

  // As a shell reports it: the exit status, or 128 and the signal.
  [[nodiscard]] int code() const { return signal != 0 ? 128 + signal : status; }
};

// Owns a child process, or none. The destructor kills a child that still runs.
class Child {
 public:
  Child() = default;
  explicit Child(pid_t id) : id_(id) {}
  ~Child();
  Child(Child&& other) noexcept;
  Child& operator=(Child&& other) noexcept;

  // Whether there is a child that has not been waited for.
  [[nodiscard]] explicit operator bool() const { return id_ > 0; }

  void send(int signal) const;

  // Waits until the child ends.
  ChildEnd wait();

  // Checks, without waiting, whether the child has ended. Only then `end` is set.
  [[nodiscard]] bool ended(ChildEnd& end);

 private:
  pid_t id_ = -1;
};

[[nodiscard]] sigset_t no_signals();

// Resets SIGCHLD to its default action if this process was started with it ignored; otherwise it
// could not wait for its children. spawn() calls this; other code that forks must call it.
void make_children_waitable();

struct SpawnSetup {
  std::string program;                             // a path
  std::vector<std::string> arguments;              // argv[0] included
  std::map<std::string, std::string> environment;  // changes to ours; "" removes a variable
  // Descriptors for its standard input, output and error; -1: /dev/null.
  int input = -1;
  int output = -1;
  int error = -1;
  int inherited = -1;        // one more, which keeps its number; -1: none
  std::vector<int> ignored;  // signals that it ignores
  // Signals that are blocked when the program starts: one that arrives before the program has
  // installed its handlers stays pending until the program unblocks it.
  sigset_t blocked = no_signals();
};

// Starts a program. The child inherits the descriptors above and those without close-on-exec.
// Signals that this process handles have their default action in the child; signals that this
// process ignores stay ignored. The child is killed when the thread that called spawn ends, and so
// whenever this process ends.
//
// If the program cannot be started, no child is returned and errno is set. Calls
// make_children_waitable().
[[nodiscard]] Child spawn(const SpawnSetup& setup);

}  // namespace k905
