#include "tests/faults/fault_run.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "apps/base/anonymous_file.h"
#include "filter/cancellation.h"
#include "filter/raster_job.h"
#include "filter/startup.h"
#include "settings/job_arguments.h"
#include "settings/paper_argument.h"
#include "settings/ppd_defaults.h"
#include "settings/summary.h"
#include "tests/support/captured_log.h"
#include "tests/support/child_process.h"

namespace {

std::string contents_of(int file) {
  std::string bytes = read_file("/proc/self/fd/" + std::to_string(file));
  close(file);
  return bytes;
}

// What main() does before the raster job.
void start_up(std::vector<std::string> arguments) {
  std::vector<char*> argv;
  argv.reserve(arguments.size());
  for (std::string& argument : arguments) {
    argv.push_back(argument.data());
  }
  const int argc = static_cast<int>(argv.size());
  set_up_signals();
  log_start(argc, argv.data());
  take_ribbon_from_environment();
  read_ppd_defaults();
  read_job_arguments(argc, argv.data());
  detect_ribbon();
  read_paper_argument(argc, argv.data());
  print_configuration_summary();
}

}  // namespace

FaultRun run_with_faults(const std::string& input, const std::vector<std::string>& arguments,
                         const Faults& faults) {
  const int in = anonymous_file_with("input", input);
  const int out = anonymous_file_with("output", "");
  const int err = anonymous_file_with("log", "");
  auto* counts = static_cast<FaultCounts*>(mmap(
      nullptr, sizeof(FaultCounts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  std::fflush(nullptr);  // otherwise the child would write the buffered output again
  const pid_t child = fork();
  if (child == 0) {
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    start_up(arguments);
    arm_faults(faults);
    const int status = run_raster_job();
    *counts = disarm_faults();
    leave_child(status);
  }
  const ChildEnd end = wait_for_child(child);
  FaultRun run;
  run.ended_normally = end.signal == 0;
  run.status = end.status;
  run.process_id = child;
  run.counts = *counts;
  munmap(counts, sizeof(FaultCounts));
  close(in);
  run.output = contents_of(out);
  run.log = lines_of(contents_of(err));
  return run;
}
