// rastertok905job: the program that a queue's PPD file names. It starts the filter. It lays out
// every page on the paper of the job, gives the filter a private PPD file with the job's options as
// the defaults, and reports to CUPS every sheet that was sent. The filter's log lines and exit
// status pass through.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "apps/adapter/arguments.h"
#include "apps/adapter/cups_log.h"
#include "apps/adapter/filter_process.h"
#include "apps/adapter/job_ppd.h"
#include "apps/adapter/loaded_ribbon.h"
#include "apps/adapter/page_process.h"
#include "apps/base/find_filter.h"
#include "apps/base/process_start.h"

namespace {

constexpr int kOptionsArgument = 5;
constexpr int kFileArgument = 6;

void report_failure(const std::string& reason) {
  log_to_cups("WARNING",
              "The choices made for this job could not be applied; it prints with the defaults of "
              "the queue.");
  log_to_cups("DEBUG", "rastertok905job: " + one_line(reason));
}

// What the job's options select.
struct Choices {
  std::optional<k905::AdapterSettings> pages;  // nothing: the pages pass through unchanged
  bool refused = false;
};

k905::Scaling scaling_named(const std::string& name) {
  if (name == "fill") return k905::Scaling::fill;
  if (name == "fit") return k905::Scaling::fit;
  if (name == "none") return k905::Scaling::none;
  return name == "auto-fit" ? k905::Scaling::automatic_fit : k905::Scaling::automatic;
}

k905::AdapterSettings adapter_settings(const JobPpd& job) {
  return {.place = k905::sheet_place(job.choices), .scaling = scaling_named(job.scaling)};
}

// Makes the filter read the job's own PPD file; false, with a message, on failure.
bool set_filter_ppd(const JobPpd& job) {
  if (job.descriptor < 0) {
    report_failure(job.failure);
    return false;
  }
  const std::string path = "/dev/fd/" + std::to_string(job.descriptor);
  // Without /dev/fd the filter would find no settings at all.
  if (access(path.c_str(), R_OK) != 0) {
    report_failure(path + " cannot be opened");
    return false;
  }
  setenv("PPD", path.c_str(), 1);
  return true;
}

// Reads the rest of the input. Otherwise the program before this one would fail to write its
// output, and users would see the error that it reports.
void read_to_end() {
  char block[65536];
  while (read(STDIN_FILENO, block, sizeof block) > 0) {
  }
}

// The ribbon decides whether two pages of the smaller paper share a sheet, and nothing else.
void set_ribbon(const JobPpd& job) {
  std::string ribbon = job.ribbon;
  const bool may_share =
      job.paper != nullptr && std::string_view(job.paper->ppd_name).starts_with("w288h432");
  if (ribbon.empty() && may_share && std::getenv("K905_RIBBON") == nullptr) {
    ribbon = k905::loaded_ribbon();
  }
  if (!ribbon.empty()) setenv("K905_RIBBON", ribbon.c_str(), 1);
}

Choices apply_choices(const char* job_options) {
  const char* const queue_ppd = std::getenv("PPD");
  JobPpd job = make_job_ppd(queue_ppd, job_options);
  if (!job.refusal.empty()) {
    log_to_cups("ERROR", job.refusal);
    read_to_end();
    return {.pages = {}, .refused = true};
  }
  set_ribbon(job);
  if (!set_filter_ppd(job)) {
    // The filter then prints on the queue's paper and ignores the paper of the job.
    job = make_job_ppd(queue_ppd, nullptr);
  }
  if (job.paper == nullptr) return {};
  return {.pages = adapter_settings(job), .refused = false};
}

// An error here must not lose the job: unless the job is refused, the filter is started.
Choices apply_job_options(const char* job_options) {
  try {
    return apply_choices(job_options);
  } catch (const std::exception& error) {
    report_failure(error.what());
    return {};
  }
}

// CUPS passes the document to the first program of a chain as a file, with nothing on standard
// input, where the filter reads. Raster that was submitted as raster arrives this way.
void read_document_from(const char* path) {
  const int document = open(path, O_RDONLY | O_CLOEXEC);
  if (document < 0) {
    log_to_cups("ERROR", "The document cannot be opened.");
    log_to_cups("DEBUG", "rastertok905job: " + one_line(path) + ": " + std::strerror(errno));
    return;
  }
  dup2(document, STDIN_FILENO);
  close(document);
}

}  // namespace

// The signals that cancel a job were blocked before main (filter/early_block.cpp).
int main(int argc, char** argv) {
  start_process();
  if (argc > kFileArgument) read_document_from(argv[kFileArgument]);
  const Choices choices =
      apply_job_options(argc > kOptionsArgument ? argv[kOptionsArgument] : nullptr);
  if (choices.refused) return 1;

  std::vector<std::string> arguments = k905::safe_arguments(argc, argv);
  std::vector<char*> filter_argv;
  filter_argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) filter_argv.push_back(argument.data());
  filter_argv.push_back(nullptr);
  const std::string filter = find_filter();
  if (!choices.pages) return run_filter(filter, filter_argv.data());

  k905::PageProcess pages(*choices.pages);
  if (!pages.started()) {
    log_to_cups("ERROR", "The pages of the job cannot be laid out: no process can be started.");
    return 1;
  }
  const int status = run_filter(filter, filter_argv.data());
  return pages.finish() ? status : 1;
}
