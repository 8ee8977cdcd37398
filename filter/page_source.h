// Where the lines of a page come from: straight from the raster stream, kept for copies, or
// skipped.
//
// libcups delivers a page's lines once and never skips those that were not read: it would take
// pixels for the next header. So whoever leaves a page early has to read the rest away.
#pragma once

#include <cups/raster.h>

#include <cstddef>
#include <cstdint>
#include <memory>

#include "pipeline/page_memory.h"
#include "pipeline/plane_set.h"

struct RasterCloser {
  void operator()(cups_raster_t* raster) const noexcept { cupsRasterClose(raster); }
};
using Raster = std::unique_ptr<cups_raster_t, RasterCloser>;

// Descriptor 0 as libcups reads it: in large pieces, and no longer than the job lives.
class RasterInput {
 public:
  // The stream, or null when there is none (nothing there, or not a raster stream). `this` must
  // outlive it.
  [[nodiscard]] Raster open();

  // True once bytes were asked for and none were left (or an error, or the job was cancelled).
  [[nodiscard]] bool ended() const { return ended_; }

 private:
  static ssize_t read(void* input, unsigned char* buffer, std::size_t bytes);

  // As much as a pipe holds: fewer system calls, and it stays in the cache.
  static constexpr std::size_t kBufferSize = std::size_t{64} * 1024;
  Plane buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  bool ended_ = false;
};

// One page as many times as it has copies. Every opening gives a raster stream that stands at the
// page's first line.
class KeptPage {
 public:
  // Reads the page's lines from `raster` until the last one or the first that cannot be read. When
  // memory runs out nothing is kept.
  void keep(const cups_page_header2_t& header, cups_raster_t* raster);

  // For copies that are sent from the planes of the first one built. `raster` passes its lines on,
  // and they are kept only if they may be wanted again: if `memory` says, when the first line is
  // asked for, that the build may fail for anything but a line that cannot be read.
  void keep_if_needed(const cups_page_header2_t& header, cups_raster_t* raster,
                      const PageMemory& memory);

  // Null when nothing was kept. `this` must outlive the stream, and it must be closed before the
  // next call.
  [[nodiscard]] Raster open();

 private:
  // Lines that are passed on: none were, some were, or there are no more.
  enum class Passing { kNot, kBefore, kLines, kEnded };

  static ssize_t read(void* page, unsigned char* buffer, std::size_t bytes);
  [[nodiscard]] bool make_room(std::size_t needed);
  void keep_header(const cups_page_header2_t& header);
  [[nodiscard]] std::size_t take_kept(unsigned char* buffer, std::size_t bytes);
  [[nodiscard]] std::size_t pass_line(unsigned char* buffer, std::size_t bytes);
  [[nodiscard]] std::size_t repeat_line(unsigned char* buffer, std::size_t bytes);

  Plane bytes_;  // sync word, header, lines as libcups delivered them
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
  std::size_t position_ = 0;

  Passing passing_ = Passing::kNot;
  cups_raster_t* source_ = nullptr;
  const PageMemory* memory_ = nullptr;
  cups_page_header2_t header_ = {};
  std::size_t lines_passed_ = 0;
  std::size_t lines_repeated_ = 0;
};

// Reads what is left of the page away. False when there is no memory for a line: then the next
// header cannot be found, and the job has to end.
[[nodiscard]] bool skip_rest_of_page(const cups_page_header2_t& header, cups_raster_t* raster);
