// The page loop: one stream, its pages, their copies.
#include "filter/raster_job.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "diag/log.h"
#include "filter/cancellation.h"
#include "filter/page_source.h"
#include "filter/two_up.h"
#include "geometry/page_header.h"
#include "pipeline/page_pipeline.h"
#include "protocol/print_page.h"
#include "settings/print_options.h"

namespace {

// The state that all pages of the job share.
struct Job {
  RasterInput input;
  Raster raster;
  std::int32_t copies = 1;
  bool merge = false;
  PagePipeline pipeline;
  SheetImage sheets[2];  // of the page being printed, and of a page that is held for pairing
};

// The page being printed, and the state that its copies share.
struct Page {
  const cups_page_header2_t& header;
  std::int64_t index;  // from 0: even indices are odd pages
  SheetImage& sheet;
  bool is_read = false;  // lines were read: further copies reuse the sheet

  [[nodiscard]] int number() const { return static_cast<int>(index + 1); }
  [[nodiscard]] bool is_odd() const { return index % 2 == 0; }
};

// A slow reader of the pipe must not truncate a plane.
void make_standard_output_blocking() {
  const int flags = fcntl(STDOUT_FILENO, F_GETFL);
  if (flags >= 0 && (flags & O_NONBLOCK) != 0) {
    fcntl(STDOUT_FILENO, F_SETFL, flags & ~O_NONBLOCK);
  }
}

// Makes the sheet of one copy. libcups returns the lines of a page only once, and nothing that a
// sheet depends on changes between copies, so a further copy reuses the sheet and repeats its log
// lines. Only a page that failed before its first line, for lack of memory, is built again. False
// if there is no sheet.
bool build_copy(Job& job, Page& page) {
  if (page.is_read) {
    return job.pipeline.report_again(page.header, page.sheet);
  }
  const bool is_built = job.pipeline.build(page.header, job.raster.get(), page.sheet);
  page.is_read = job.pipeline.rows_read() > 0;
  return is_built;
}

void print_copy(const Job& job, const Page& page) {
  if (job.merge) {
    // Copies are paired one by one, like pages.
    auto* const store_or_merge = page.is_odd() ? store_odd_page : merge_even_page;
    store_or_merge(page.sheet, page.number());
    return;
  }
  log_line("K905-1: Direct print mode (no merge): page %d", page.number());
  const SheetImage& sheet = page.sheet;
  print_single_page_to_printer(sheet.planes.plane[0].get(), sheet.planes.plane[1].get(),
                               sheet.planes.plane[2].get(), sheet.width, sheet.height);
}

void print_copies(Job& job, Page& page) {
  for (std::int64_t copy = 1; copy <= job.copies; ++copy) {
    if (job_canceled()) {
      return;
    }
    log_line("K905-1: === Processing page %d, copy %d/%d ===", page.number(),
             static_cast<int>(copy), job.copies);
    if (!build_copy(job, page)) {
      log_line("K905-1: build_planes_resampled failed, abort page %d", page.number());
    } else if (!job_canceled()) {
      print_copy(job, page);
    }
  }
}

// Returns a sheet that is not held for pairing. Frees the planes of earlier pages.
SheetImage& unused_sheet(Job& job) {
  for (SheetImage& sheet : job.sheets) {
    if (!is_held(sheet)) {
      sheet = {};
    }
  }
  return job.sheets[is_held(job.sheets[0]) ? 1 : 0];
}

// Prints all copies of one page and leaves the stream at the next header. False if the job must
// end.
bool print_page(Job& job, const cups_page_header2_t& header, std::int64_t index) {
  Page page{.header = header, .index = index, .sheet = unused_sheet(job)};
  log_line("K905-1: Processing page %d (%s)", page.number(), page.is_odd() ? "ODD" : "EVEN");
  print_copies(job, page);
  if (job.input.ended() || skip_rest_of_page(header, job.raster.get())) {
    return true;
  }
  log_line("K905-1: malloc skip buffer failed, the rest of the job is not printed");
  return false;
}

// libcups returns the same value at the end of the input, on an error and for a header it rejects.
void log_end_of_pages(const RasterInput& input) {
  if (!input.ended()) {
    log_line("K905-1: Raster page header refused, the rest of the job is not printed");
  } else if (input.error() != 0 && !job_canceled()) {
    log_line("K905-1: read error: %s", std::strerror(input.error()));
  }
}

void print_pages(Job& job) {
  cups_page_header2_t header;
  for (std::int64_t index = 0;; ++index) {
    if (job_canceled()) {
      return;
    }
    if (cupsRasterReadHeader2(job.raster.get(), &header) == 0) {
      log_end_of_pages(job.input);
      return;
    }
    if (index == 0) {
      extract_print_params_from_header(&header);
      job.merge = decide_merge_mode();
    }
    if (!print_page(job, header, index)) {
      return;
    }
  }
}

}  // namespace

int run_raster_job() {
  make_standard_output_blocking();
  Job job;
  job.raster = job.input.open();
  if (job.raster == nullptr && !job_canceled()) {
    log_line("K905-1: cupsRasterOpen failed (no raster data from upstream).");
    log_line("K905-1: Tip: In print dialog choose Color/RGB, not Grayscale or Black only.");
    return 1;
  }
  // Deliberate: read before any header is interpreted. NumCopies in the header is reported but
  // does not change this job, because the print system has already repeated the pages.
  job.copies = current_options.copies;
  if (job.raster != nullptr) {
    print_pages(job);
  }
  job.raster.reset();

  if (job_canceled()) {
    drop_held_page();
  } else if (job.merge) {
    print_held_page();
  }
  log_line("=== rastertok905 end ===");
  return 0;
}
