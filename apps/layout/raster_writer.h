// Writes raster pages for the filter to a descriptor or a callback, through libcups.
#pragma once

#include <cups/raster.h>

#include <cstdint>
#include <functional>
#include <string>

#include "apps/image/picture.h"
#include "apps/layout/sheet_place.h"

namespace k905 {

// The header of an 8-bit RGB page with 300 dpi across, without a page size.
[[nodiscard]] cups_page_header2_t rgb_page_header(PixelSize size, unsigned vertical_dpi);
// The same with the page size of the paper, as CUPS filters write it.
[[nodiscard]] cups_page_header2_t page_header(const PaperConfig& paper, PixelSize size,
                                              unsigned vertical_dpi);

class RasterWriter {
 public:
  // Takes all bytes and returns null, or returns the error.
  using Sink = std::function<const char*(const std::uint8_t* bytes, std::size_t count)>;
  // Row y of a page, valid until the next call.
  using Rows = std::function<const std::uint8_t*(std::uint32_t y)>;

  // `compressed` selects the compressed raster format.
  RasterWriter(Sink sink, bool compressed);
  // The caller keeps the descriptor.
  RasterWriter(int descriptor, bool compressed);
  ~RasterWriter();
  RasterWriter(const RasterWriter&) = delete;
  RasterWriter& operator=(const RasterWriter&) = delete;

  // Writes one page. False with `error` set on failure.
  bool write_page(cups_page_header2_t header, const Rows& rows, std::string& error);
  // Writes the page that page_for() made: 8 bits, gray or RGB as `place` specifies.
  bool write_page(const SheetPlace& place, const Picture& page, std::string& error);

 private:
  static ssize_t write_bytes(void* context, unsigned char* bytes, std::size_t count);

  Sink sink_;
  const char* sink_error_ = nullptr;
  cups_raster_t* raster_;
};

}  // namespace k905
