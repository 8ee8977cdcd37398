// Pages and CUPS raster streams: valid ones of a print queue, and invalid ones.
#pragma once

#include <cups/raster.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

// One page: a header and its lines, cupsHeight x cupsBytesPerLine bytes (times cupsNumColors when
// the color order is planar).
struct RasterPage {
  cups_page_header2_t header;
  std::vector<std::uint8_t> pixels;
};

enum class RasterKind { kUncompressed, kCompressed };

// A header as a usual queue makes it: chunky, 300 dpi, portrait, 6x4 page size, one copy; bits per
// pixel and bytes per line follow from the arguments.
[[nodiscard]] cups_page_header2_t page_header(unsigned width, unsigned height, unsigned colors = 3,
                                              unsigned bits_per_color = 8);

// The same for a page of the smallest paper.
[[nodiscard]] cups_page_header2_t smallest_page_header(unsigned width, unsigned height,
                                                       unsigned colors = 3,
                                                       unsigned bits_per_color = 8);

// A page of zero bytes, of the size that the header gives.
[[nodiscard]] RasterPage blank_page(const cups_page_header2_t& header);

// Random bytes.
void fill_with_noise(RasterPage& page, std::mt19937& random);
// Smooth gradients, a different one for each byte of a pixel, as in photos.
void fill_with_gradient(RasterPage& page, std::mt19937& random);
// Rectangles of one color each, as in drawings; they compress well.
void fill_with_blocks(RasterPage& page, std::mt19937& random);

// The pages, written by libcups.
[[nodiscard]] std::string raster_stream(const std::vector<RasterPage>& pages,
                                        RasterKind kind = RasterKind::kUncompressed);

// The pages, written without libcups, so that every header is possible: the four bytes that open an
// uncompressed stream, then each header and its pixels. `other_byte_order` writes the stream of a
// machine with the other byte order.
[[nodiscard]] std::string raw_raster_stream(const std::vector<RasterPage>& pages,
                                            bool other_byte_order = false);

// The bytes of one page of an uncompressed stream, header first, without the opening four.
[[nodiscard]] std::string raw_page(const RasterPage& page, bool other_byte_order = false);

// A stream in memory that libcups reads, at the first line of its first page.
class OpenRaster {
 public:
  explicit OpenRaster(std::string stream);
  ~OpenRaster() { cupsRasterClose(raster_); }
  OpenRaster(const OpenRaster&) = delete;
  OpenRaster& operator=(const OpenRaster&) = delete;

  [[nodiscard]] cups_raster_t* raster() const { return raster_; }

  cups_page_header2_t header = {};  // of the first page

 private:
  static ssize_t read(void* context, unsigned char* buffer, std::size_t bytes);

  std::string stream_;
  std::size_t at_ = 0;
  cups_raster_t* raster_ = nullptr;
};
