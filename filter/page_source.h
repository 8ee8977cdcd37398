// The raster stream on descriptor 0, and how to skip to its next page.
//
// libcups delivers each line of a page once and does not skip lines that were not read: it would
// read pixels as the next header. So the rest of a page that is left early has to be read.
#pragma once

#include <cups/raster.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "pipeline/planes.h"

struct RasterCloser {
  void operator()(cups_raster_t* raster) const noexcept { cupsRasterClose(raster); }
};
using Raster = std::unique_ptr<cups_raster_t, RasterCloser>;

// Feeds descriptor 0 to libcups: reads it in large pieces, and stops when the job is canceled.
class RasterInput {
 public:
  // The raster stream, or null if the input is empty or is not a raster stream. This object must
  // outlive it.
  [[nodiscard]] Raster open();

  // True once a read found the end of the data, failed, or was cut short because the job was
  // canceled. After that nothing more is read.
  [[nodiscard]] bool ended() const { return ended_; }

  // The errno of the read that ended the input; 0 at the end of the data.
  [[nodiscard]] int error() const { return error_; }

 private:
  static ssize_t read(void* input, unsigned char* buffer, std::size_t bytes);

  // The usual capacity of a pipe: few system calls, and the buffer stays in the CPU cache.
  static constexpr std::size_t kBufferSize = std::size_t{64} * 1024;
  Plane buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool ended_ = false;
  int error_ = 0;
};

// Reads the rest of the page. False if there is no memory for a line: then the next header cannot
// be found, and the job has to end.
[[nodiscard]] bool skip_rest_of_page(const cups_page_header2_t& header, cups_raster_t* raster);
