// rastertok905: converts CUPS raster to the printer's commands. main() runs the steps of start-up
// in order and then prints the job or queries the status.
#include <cstring>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include "diag/log.h"
#include "diag/standard_descriptors.h"
#include "filter/cancellation.h"
#include "filter/raster_job.h"
#include "filter/startup.h"
#include "protocol/status_query.h"
#include "settings/job_arguments.h"
#include "settings/paper_argument.h"
#include "settings/ppd_defaults.h"
#include "settings/summary.h"

namespace {

// The planes of a sheet take the same few megabytes on every page. The allocator keeps freed memory
// instead of returning it to the system, so it is mapped once per job, not once per page.
void keep_freed_memory() {
#ifdef __GLIBC__
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
#endif
}

}  // namespace

int main(int argc, char** argv) {
  set_up_signals();
  reserve_standard_descriptors();
  keep_freed_memory();

  open_log();
  log_start(argc, argv);
  take_ribbon_from_environment();
  read_ppd_defaults();
  read_job_arguments(argc, argv);

  // Checked after the arguments were read, which may have shortened "--info=x" to "--info".
  const bool asks_status = argc >= 2 && std::strcmp(argv[1], "--info") == 0;
  if (!asks_status) {
    detect_ribbon();
  }
  if (argc >= 2) {
    read_paper_argument(argc, argv);
  }
  print_configuration_summary();

  if (asks_status) {
    restore_signals();
    return query_printer_info(argc == 2 ? kDefaultDevice : argv[2]);
  }
  return run_raster_job();
}
