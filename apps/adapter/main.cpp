// rastertok905job: stands in front of the filter in a queue's PPD file, so that the choices made
// for a single job count. Hands the filter a private PPD file with these choices as the defaults,
// tells CUPS of every sheet that was sent, and is otherwise as if it were not there: same
// arguments, same bytes, same log lines, same exit status.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "apps/adapter/filter_process.h"
#include "apps/adapter/job_ppd.h"
#include "apps/adapter/one_line.h"
#include "apps/base/find_filter.h"
#include "apps/base/process_start.h"

namespace {

constexpr int kOptionsArgument = 5;
constexpr int kFileArgument = 6;

void report_failure(const std::string& reason) {
  tell_cups("WARNING",
            "The choices made for this job could not be applied; it prints with the defaults of "
            "the queue.");
  tell_cups("DEBUG", "rastertok905job: " + one_line(reason));
}

// A fault here must never cost the job: whatever happens, the filter is started.
void apply_job_options(const char* job_options) {
  try {
    const JobPpd job = make_job_ppd(std::getenv("PPD"), job_options);
    if (!job.ribbon.empty()) setenv("K905_RIBBON", job.ribbon.c_str(), 1);
    if (job.descriptor < 0) {
      report_failure(job.failure);
      return;
    }
    const std::string path = "/dev/fd/" + std::to_string(job.descriptor);
    // Where descriptors have no names the filter would find no settings at all.
    if (access(path.c_str(), R_OK) != 0) {
      report_failure(path + " cannot be opened");
      return;
    }
    setenv("PPD", path.c_str(), 1);
  } catch (const std::exception& error) {
    report_failure(error.what());
  }
}

// CUPS gives the first program of a chain its document as a file and nothing at standard input,
// where the filter reads: so comes raster that was submitted as raster.
void read_document_from(const char* path) {
  const int document = open(path, O_RDONLY | O_CLOEXEC);
  if (document < 0) {
    tell_cups("ERROR", "The document cannot be opened.");
    tell_cups("DEBUG", "rastertok905job: " + one_line(path) + ": " + std::strerror(errno));
    return;
  }
  dup2(document, STDIN_FILENO);
  close(document);
}

}  // namespace

// The signals that cancel a job are blocked since before main (filter/early_block.cpp).
int main(int argc, char** argv) {
  start_process();
  if (argc > kFileArgument) read_document_from(argv[kFileArgument]);
  apply_job_options(argc > kOptionsArgument ? argv[kOptionsArgument] : nullptr);
  return run_filter(find_filter(), argv);
}
