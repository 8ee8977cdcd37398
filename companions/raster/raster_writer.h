// A raster stream on a descriptor, written by libcups.
#pragma once

#include <cups/raster.h>

#include <string>

#include "companions/pictures/picture.h"
#include "companions/raster/page_header.h"

class RasterWriter {
 public:
  // The descriptor stays the caller's. `compressed` lets libcups squeeze the lines.
  RasterWriter(int descriptor, bool compressed);
  ~RasterWriter();
  RasterWriter(const RasterWriter&) = delete;
  RasterWriter& operator=(const RasterWriter&) = delete;

  // One page that shows the picture pixel by pixel. False with `error` filled when it cannot be
  // written.
  bool write_page(const PagePlan& plan, const Picture& picture, std::string& error);

 private:
  static ssize_t write_bytes(void* context, unsigned char* bytes, std::size_t count);

  int descriptor_;
  int write_error_ = 0;
  cups_raster_t* raster_;
};
