// Runs a built program as a child process: its input, its output and how it ended.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct ChildSetup {
  std::string program;
  std::vector<std::string> arguments;  // argv[0] included
  // The complete environment; only the options of the leak checker are inherited.
  std::map<std::string, std::string> environment;
  std::string input;           // standard input, through a pipe
  std::string working_folder;  // empty: the test's own
  // A folder that replaces /tmp, so that a run by hand writes its log and images here.
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

// Runs the program to its end; feeds and drains its pipes meanwhile. Kills a child that exceeds the
// time limit.
[[nodiscard]] ChildResult run_child(const ChildSetup& setup);

// Starts the program with these standard descriptors; -1 leaves one closed. The caller keeps the
// descriptors. `input` and the time limit of the setup are ignored.
[[nodiscard]] int start_child(const ChildSetup& setup, int in, int out, int err);

// How a child ended.
struct ChildEnd {
  int status = -1;  // exit status; -1 when it did not exit by itself
  int signal = 0;   // what killed it, or 0
};

// Ends a child that is a fork of the test and runs code of the product: like _exit, but its line
// coverage is counted (tools/coverage).
[[noreturn]] void leave_child(int status);

// Waits for the end of a started child; kills one that exceeds the limit.
[[nodiscard]] ChildEnd wait_for_child(int process_id,
                                      std::chrono::seconds limit = std::chrono::seconds(60));

// A pipe whose ends are not inherited by accident; the caller closes them.
struct Pipe {
  int read_end = -1;
  int write_end = -1;
};
[[nodiscard]] Pipe make_pipe();

// The filter of this build, or the one that K905_FILTER names, for example for another processor.
[[nodiscard]] std::string filter_program();

// Whether `private_tmp` works here: it needs a mount namespace.
[[nodiscard]] bool private_tmp_possible();

// All bytes of a file; none if it cannot be read.
[[nodiscard]] std::string read_file(const std::string& path);

// A new folder for a test; the destructor removes it with all files.
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
