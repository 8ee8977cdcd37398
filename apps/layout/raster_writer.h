// A raster stream on a descriptor or to whoever takes its bytes, written by libcups.
#pragma once

#include <cups/raster.h>

#include <cstdint>
#include <functional>
#include <string>

#include "apps/image/picture.h"
#include "apps/layout/page_header.h"

class RasterWriter {
 public:
  // Takes all bytes and returns null, or says why it cannot.
  using Sink = std::function<const char*(const std::uint8_t* bytes, std::size_t count)>;

  // `compressed` lets libcups squeeze the lines.
  RasterWriter(Sink sink, bool compressed);
  // The descriptor stays the caller's.
  RasterWriter(int descriptor, bool compressed);
  ~RasterWriter();
  RasterWriter(const RasterWriter&) = delete;
  RasterWriter& operator=(const RasterWriter&) = delete;

  // One page that shows the picture pixel by pixel. False with `error` filled when it cannot be
  // written.
  bool write_page(const PagePlan& plan, const Picture& picture, std::string& error);

 private:
  static ssize_t write_bytes(void* context, unsigned char* bytes, std::size_t count);

  Sink sink_;
  const char* sink_error_ = nullptr;
  cups_raster_t* raster_;
};
