#include "filter/raster_job.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <utility>

#include "diag/debug_image.h"
#include "diag/log.h"
#include "filter/cancellation.h"
#include "filter/page_source.h"
#include "filter/two_up.h"
#include "geometry/page_header.h"
#include "paper/paper_table.h"
#include "pipeline/page_memory.h"
#include "pipeline/page_pipeline.h"
#include "protocol/print_page.h"
#include "settings/print_options.h"

namespace {

// What stays the same for every page of the job.
struct Job {
  RasterInput input;
  Raster raster;
  std::int32_t copies = 1;
  bool merge = false;
  PageMemory memory;
};

// A page on its way through its copies.
struct Page {
  const cups_page_header2_t& header;
  std::int64_t index;       // from 0: even indices are odd pages
  KeptPage kept = {};       // its lines, once the stream has them no more
  bool is_kept = false;     // whether the lines come from `kept`
  Raster kept_stream = {};  // over `kept`, at the first line
  PlaneSet planes = {};     // of the last copy, for the next one

  [[nodiscard]] int number() const { return static_cast<int>(index + 1); }
  [[nodiscard]] bool odd() const { return index % 2 == 0; }
};

// A plane must not be torn because the other end of the pipe is slow.
void make_standard_output_blocking() {
  const int flags = fcntl(STDOUT_FILENO, F_GETFL);
  if (flags >= 0 && (flags & O_NONBLOCK) != 0) {
    fcntl(STDOUT_FILENO, F_SETFL, flags & ~O_NONBLOCK);
  }
}

// The page's first line in its kept lines. Null, logged, when there was no memory to keep them in.
cups_raster_t* open_kept(Page& page) {
  page.kept_stream.reset();
  page.kept_stream = page.kept.open();
  if (page.kept_stream == nullptr) {
    log_line("K905-1: malloc src planes failed");
  }
  return page.kept_stream.get();
}

// From here on the page's lines come out of memory.
void keep_lines(Page& page, cups_raster_t* raster) {
  page.kept.keep(page.header, raster);
  page.is_kept = true;
}

cups_raster_t* keep_lines_of_failing_page(void* failing_page, cups_raster_t* raster) {
  Page& page = *static_cast<Page*>(failing_page);
  if (page.is_kept) {
    return raster;
  }
  keep_lines(page, raster);
  return open_kept(page);
}

// The page's planes, new. False when they could not be built; the next copy tries again.
bool build(Job& job, Page& page) {
  cups_raster_t* raster = page.is_kept ? open_kept(page) : job.raster.get();
  if (raster == nullptr) {
    return false;
  }
  page.planes = {};
  std::uint8_t* planes[3] = {nullptr, nullptr, nullptr};
  if (k905_build_planes_resampled(&page.header, raster, &planes[0], &planes[1], &planes[2],
                                  &job.memory) < 0) {
    if (!page.is_kept && job.input.ended()) {
      // Every copy breaks off at the same line.
      page.kept.keep_broken_off(page.header, job.memory.stages.read.rows_read());
      page.is_kept = true;
    }
    return false;
  }
  for (std::size_t i = 0; i < 3; ++i) {
    page.planes.plane[i].reset(planes[i]);
  }
  return true;
}

// Whether no copy can be sent from the planes of the one before: pairing takes them away, and every
// copy has its own pictures of the stages.
bool builds_every_copy(const Job& job) { return job.merge || debug_images_wanted(); }

// The planes of this copy: those of the copy before where they are still there, because nothing
// that they depend on changes between two copies. The log tells of each copy all the same.
bool build_or_reuse(Job& job, Page& page) {
  if (page.planes.plane[0] != nullptr && !builds_every_copy(job)) {
    k905_report_page_again(&page.header, job.memory);
    return true;
  }
  return build(job, page);
}

void print_copy(Job& job, Page& page) {
  const std::int32_t width = current_options.paper_config->canvas_width;
  const std::int32_t height = current_options.paper_config->canvas_height
                              << (current_options.interlace != 0 ? 1 : 0);
  if (job.merge) {
    // Copies run through the pairing one by one, like pages.
    auto* const place = page.odd() ? store_odd_page : merge_even_page;
    place(std::exchange(page.planes, {}), width, height, page.number());
    return;
  }
  log_line("K905-1: Direct print mode (no merge): page %d", page.number());
  print_single_page_to_printer(page.planes.plane[0].get(), page.planes.plane[1].get(),
                               page.planes.plane[2].get(), width, height);
}

void print_copies(Job& job, Page& page) {
  for (std::int64_t copy = 1; copy <= job.copies && !job_cancelled(); ++copy) {
    log_line("K905-1: === Processing page %d, copy %d/%d ===", page.number(),
             static_cast<int>(copy), job.copies);
    if (!build_or_reuse(job, page)) {
      log_line("K905-1: build_planes_resampled failed, abort page %d", page.number());
    } else if (!job_cancelled()) {
      print_copy(job, page);
    }
  }
}

// One page in all its copies; afterwards the stream stands behind it. False when the job has to
// end.
bool print_page(Job& job, const cups_page_header2_t& header, std::int64_t index) {
  Page page{.header = header, .index = index};
  log_line("K905-1: Processing page %d (%s)", page.number(), page.odd() ? "ODD" : "EVEN");

  // libcups hands a page's lines out once; copies that are sent from the planes of the first need
  // them again only when that one fails.
  if (job.copies >= 2) {
    if (builds_every_copy(job)) {
      keep_lines(page, job.raster.get());
    } else {
      job.memory.before_lines_are_lost = keep_lines_of_failing_page;
      job.memory.whose = &page;
    }
  }
  print_copies(job, page);
  job.memory.before_lines_are_lost = nullptr;
  job.memory.whose = nullptr;
  if (job.input.ended() || skip_rest_of_page(header, job.raster.get())) {
    return true;
  }
  log_line("K905-1: malloc skip buffer failed, the rest of the job is not printed");
  return false;
}

// libcups gives the same answer at the end of the input, for an error and for a header it refuses.
void log_end_of_pages(const RasterInput& input) {
  if (!input.ended()) {
    log_line("K905-1: Raster page header refused, the rest of the job is not printed");
  } else if (input.error() != 0 && !job_cancelled()) {
    log_line("K905-1: read error: %s", std::strerror(input.error()));
  }
}

void print_pages(Job& job) {
  cups_page_header2_t header;
  for (std::int64_t index = 0; !job_cancelled(); ++index) {
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
  if (job.raster == nullptr && !job_cancelled()) {
    log_line("K905-1: cupsRasterOpen failed (no raster data from upstream).");
    log_line("K905-1: Tip: In print dialog choose Color/RGB, not Grayscale or Black only.");
    return 1;
  }
  // Deliberate: taken before any header is interpreted. A NumCopies of the header is reported but
  // does not change this job, because the print system has already repeated the pages.
  job.copies = current_options.copies;
  if (job.raster != nullptr) {
    print_pages(job);
  }
  job.raster.reset();

  if (job_cancelled()) {
    drop_held_page();
  } else if (job.merge) {
    print_held_page();
  }
  log_line("=== rastertok905 end ===");
  return 0;
}
