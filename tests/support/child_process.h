// The built program as a child process: what goes in, what comes out, how it ended.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct ChildSetup {
  std::string program;
  std::vector<std::string> arguments;  // argv[0] included
  // All of it; only the options of the leak checker are inherited.
  std::map<std::string, std::string> environment;
  std::string input;           // standard input, through a pipe
  std::string working_folder;  // empty: the test's own
  // Stands in for /tmp, so that a run by hand leaves its log and pictures here and disturbs nobody.
  std::string private_tmp;
  std::chrono::seconds time_limit{60};
};

struct ChildResult {
  int status = -1;  // exit status; -1 when it did not exit by itself
  int signal = 0;   // what killed it, or 0
  int process_id = 0;
  std::string output;
  std::string log;
};

// Runs the program to its end, feeding and draining its pipes meanwhile. A child that outlives the
// time limit is killed.
[[nodiscard]] ChildResult run_child(const ChildSetup& setup);

// Starts the program with these descriptors in the place of its standard ones; -1 leaves one
// closed. The descriptors stay the caller's. `input` and the time limit of the setup are not looked
// at.
[[nodiscard]] int start_child(const ChildSetup& setup, int in, int out, int err);

// How a child ended.
struct ChildEnd {
  int status = -1;  // exit status; -1 when it did not exit by itself
  int signal = 0;   // what killed it, or 0
};

// The end of a child that is a fork of the test and runs code of the product: at once, as _exit
// does it, but the lines it came by still count (tools/coverage).
[[noreturn]] void leave_child(int status);

// Waits for the end of a started child; one that outlives the limit is killed.
[[nodiscard]] ChildEnd wait_for_child(int process_id,
                                      std::chrono::seconds limit = std::chrono::seconds(60));

// A pipe whose ends no child inherits by accident; the caller closes them.
struct Pipe {
  int read_end = -1;
  int write_end = -1;
};
[[nodiscard]] Pipe make_pipe();

// The filter that this build made, or the one that K905_FILTER names: built for another processor.
[[nodiscard]] std::string filter_program();

// Whether `private_tmp` works here: it takes a mount namespace.
[[nodiscard]] bool private_tmp_possible();

// All bytes of a file; none when it cannot be read.
[[nodiscard]] std::string read_file(const std::string& path);

// A fresh folder of its own for a test, removed with everything in it at the end of the guard.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }
  // Writes a file into the folder and returns its path.
  std::string write(const std::string& name, const std::string& bytes) const;
  [[nodiscard]] std::optional<std::string> read(const std::string& name) const;

 private:
  std::string path_;
};
