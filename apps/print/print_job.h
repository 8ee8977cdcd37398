// Pictures printed as one job: read, prepared, sent page by page.
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

struct JobSetup {
  Destination* destination = nullptr;
  Preparation preparation;
  int copies = 1;  // of each photo, one after the other
  int pages_per_sheet = 1;
  std::string layout;            // see cells_of(); empty: one photo covers the sheet
  std::string caption;           // of each photo; may have fields: {date}, {file}
  std::string frame_file;        // what `frame` was read from
  std::optional<Overlay> frame;  // is laid over each sheet
  bool test_page = false;        // the ruler page in place of a photo, whatever the file's name
};

// What is said to the user on the way: a picture by name, and what is wrong with it.
using ErrorReport = std::function<void(const std::string& words)>;

// How many photos a sheet holds.
[[nodiscard]] std::size_t photos_per_page(const JobSetup& setup);

// A photo as the page of a job, in all of the cells of the layout. `path` is read; messages
// call it `name`. Null with the reason in `error` when it cannot be read.
[[nodiscard]] std::optional<Picture> read_page(const JobSetup& setup, const std::string& path,
                                               const std::string& name,
                                               const ErrorReport& report_error, std::string& error);

// What a job of these files is called.
[[nodiscard]] std::string job_title(const std::vector<std::string>& files);

// Prints the files as one job; a photo that cannot be read is reported and left out. Returns what
// became of each: nothing is reported to `report_error` that is not in a reason too. `progress` is
// shown each photo, counted on from `done`.
[[nodiscard]] std::vector<k905::PhotoReport> print_job(const JobSetup& setup,
                                                       const std::vector<std::string>& files,
                                                       Progress& progress, int done,
                                                       const ErrorReport& report_error);

// SIGTERM, SIGINT and SIGHUP: the picture in hand is printed, no further one is begun. A second
// SIGINT, from somebody who cannot wait, ends the program at once. SIGINT and SIGHUP that were
// ignored at the start stay ignored.
void stop_on_signals();
[[nodiscard]] bool stop_asked();
