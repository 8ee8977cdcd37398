// Prints photos as one job: reads, prepares and sends them page by page.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "apps/base/progress.h"
#include "apps/image/draw.h"
#include "apps/layout/prepare.h"
#include "apps/print/destination.h"
#include "apps/print/report.h"

namespace k905 {

struct JobSetup {
  Destination* destination = nullptr;
  PrepareOptions prepare_options;
  int copies = 1;  // of each photo, consecutive
  int pages_per_sheet = 1;
  std::string layout;            // see cells_of(); empty: one photo covers the sheet
  std::string caption;           // of each photo; may have fields: {date}, {file}
  std::string frame_file;        // what `frame` was read from
  std::optional<Overlay> frame;  // drawn over each sheet
  bool test_page = false;        // the test page instead of a photo, whatever the file name
};

// Messages to the user: the name of a photo, and its error.
using ErrorReport = std::function<void(const std::string& message)>;

// The number of photos on a sheet.
[[nodiscard]] std::size_t photos_per_page(const JobSetup& setup);

// Reads a photo and returns the page of a job; with a layout the photo is in all cells. Messages
// name `path` as `name`. Null with the reason in `error` if it cannot be read.
[[nodiscard]] std::optional<Picture> read_page(const JobSetup& setup, const std::string& path,
                                               const std::string& name,
                                               const ErrorReport& report_error, std::string& error);

// The title of a job of these files.
[[nodiscard]] std::string job_title(const std::vector<std::string>& files);

// Prints the files as one job; a photo that cannot be read is reported and skipped. Returns the
// outcome of each photo, including everything that was passed to `report_error`. `progress` counts
// the photos, starting at `done`.
[[nodiscard]] std::vector<PhotoReport> print_job(const JobSetup& setup,
                                                 const std::vector<std::string>& files,
                                                 Progress& progress, int done,
                                                 const ErrorReport& report_error);

// SIGTERM, SIGINT and SIGHUP end the program after the current sheet, of which further copies may
// still be printed. A second SIGINT ends the program at once. SIGINT and SIGHUP that were ignored
// at the start stay ignored.
void stop_on_signals();
[[nodiscard]] bool stop_requested();

}  // namespace k905
