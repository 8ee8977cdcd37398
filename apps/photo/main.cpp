// phototok905: the filter that CUPS starts for a photo file. Makes the same page as k905-print:
// rotated, converted to sRGB, cropped or fitted and scaled once. The raster goes to
// rastertok905job. The photo is decoded in a child process with resource limits.
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <utility>

#include "apps/adapter/cups_log.h"
#include "apps/adapter/job_ppd.h"
#include "apps/base/descriptor.h"
#include "apps/base/process_start.h"
#include "apps/layout/cells.h"
#include "apps/layout/page_in_child.h"
#include "apps/layout/raster_writer.h"
#include "apps/photo/photo_job.h"

namespace {

using k905::CupsOptions;

constexpr int kCopies = 4;
constexpr int kOptions = 5;
constexpr int kFile = 6;

// Whether the photo filter of CUPS reads this format, too.
bool is_read_by_default_filter() {
  const char* const type = std::getenv("CONTENT_TYPE");
  constexpr std::array<const char*, 3> usual{"image/jpeg", "image/png", "image/tiff"};
  return type != nullptr && std::any_of(usual.begin(), usual.end(), [type](const char* name) {
           return std::strcmp(type, name) == 0;
         });
}

// Replaces this process with the photo filter of CUPS. Returns only if there is none.
void exec_default_filter(char** argv) {
  const char* const folder = std::getenv("CUPS_SERVERBIN");
  if (folder == nullptr) return;
  const std::string program = std::string(folder) + "/filter/imagetoraster";
  signal(SIGPIPE, SIG_DFL);
  execv(program.c_str(), argv);
  signal(SIGPIPE, SIG_IGN);
}

void report_failure(const std::string& reason) {
  log_to_cups("ERROR", "The photo cannot be printed: " + one_line(reason) + ".");
}

int print_photo(const JobPpd& job, const CupsOptions& options, const char* file, long copies) {
  const k905::SheetPlace place = k905::sheet_place(job.choices);
  const k905::Cell cell = k905::cells_of("", place).front();
  std::string error;
  std::optional<k905::PreparedPhoto> photo = k905::page_in_child(
      file, k905::place_in(cell, place), k905::prepare_options_of(options), error);
  if (!photo) {
    report_failure(error);
    return 1;
  }
  if (!photo->warning.empty()) log_to_cups("INFO", one_line(photo->warning) + ".");
  const k905::Picture page =
      page_for(k905::sheet_with(std::move(photo->picture), cell, place), place);
  k905::RasterWriter writer(STDOUT_FILENO, false);
  for (long copy = 0; copy < copies; ++copy) {
    if (!writer.write_page(place, page, error)) {
      // The next program in the chain has ended; users should see the error that it reports.
      log_to_cups("DEBUG", "phototok905: " + one_line(error));
      return 1;
    }
  }
  return 0;
}

int filter_photo(int argc, char** argv) {
  const CupsOptions options(argv[kOptions]);
  const JobPpd job = make_job_ppd(std::getenv("PPD"), argv[kOptions]);
  const k905::Descriptor copy_of_ppd(job.descriptor);
  // The next program refuses the job and reports the reason.
  if (!job.refusal.empty()) return 0;
  if (job.paper == nullptr ||
      (is_read_by_default_filter() && k905::needs_default_filter(options))) {
    exec_default_filter(argv);
  }
  if (job.paper == nullptr) {
    report_failure(job.failure.empty() ? "the queue is for another printer" : job.failure);
    return 1;
  }
  return print_photo(job, options, argc > kFile ? argv[kFile] : "-",
                     k905::copies_of(argv[kCopies]));
}

}  // namespace

int main(int argc, char** argv) {
  if (const auto status = k905::make_page_as_child(argc, argv)) return *status;
  start_process();
  if (argc <= kOptions || argc > kFile + 1) {
    log_to_cups("ERROR",
                "phototok905 is started by the print system; usage: "
                "phototok905 job user title copies options [file]");
    return 1;
  }
  try {
    return filter_photo(argc, argv);
  } catch (const std::exception& error) {
    report_failure(error.what());
    return 1;
  }
}
