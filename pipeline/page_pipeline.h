// From one raster page to the three planes of a sheet.
#pragma once

#include <cups/raster.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "pipeline/planes.h"

// The pipeline of a job; builds one page at a time. Keeps the log lines of the last page, for its
// copies, and the color transform of the job.
class PagePipeline {
 public:
  PagePipeline();
  ~PagePipeline();
  PagePipeline(const PagePipeline&) = delete;
  PagePipeline& operator=(const PagePipeline&) = delete;

  // Builds the finished canvas of one page: reads cupsHeight lines of cupsBytesPerLine bytes from
  // `raster` (which is at the page's first line), resizes, converts, adjusts, rotates and places
  // them according to the header and current_options. Interprets the header itself
  // (extract_print_params_from_header).
  //
  // All memory is allocated before the first line is read: a page that fails for lack of memory can
  // be built again. After that only a line that cannot be read makes the page fail. A failure is
  // logged, and `sheet` is empty.
  [[nodiscard]] bool build(const cups_page_header2_t& header, cups_raster_t* raster,
                           SheetImage& sheet);

  // The lines that the last build() read.
  [[nodiscard]] std::size_t rows_read() const;

  // Repeats the log lines of the last build(), for a further copy of its page. To be called instead
  // of build() if that has read lines, because libcups returns the lines of a page only once.
  // `sheet` is what build() made. Returns what build() returned.
  [[nodiscard]] bool report_again(const cups_page_header2_t& header, const SheetImage& sheet) const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// One page by itself. On success stores three newly allocated planes, each canvas width x canvas
// height bytes (the height doubled when interlaced), rows from the top, stride = width, and returns
// 0; the caller frees each with free(). On failure logs why, stores nothing and returns -1; after a
// line that could not be read the rest of the page stays unread in the stream.
[[nodiscard]] int k905_build_planes_resampled(const cups_page_header2_t* header,
                                              cups_raster_t* raster, std::uint8_t** out_plane0,
                                              std::uint8_t** out_plane1, std::uint8_t** out_plane2);
