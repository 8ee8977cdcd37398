// Pages and the CUPS raster streams made of them: what a print queue would send to the filter, and
// what it never should.
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

// A header as a healthy queue makes it: chunky, 300 dpi, portrait, 6x4 page size, one copy; bits
// per pixel and bytes per line follow from the arguments.
[[nodiscard]] cups_page_header2_t page_header(unsigned width, unsigned height, unsigned colors = 3,
                                              unsigned bits_per_color = 8);

// As many zero bytes as the header promises.
[[nodiscard]] RasterPage blank_page(const cups_page_header2_t& header);

// Every byte at random.
void fill_with_noise(RasterPage& page, std::mt19937& random);
// Smooth slopes, different ones per byte of a pixel, as photographs have them.
void fill_with_gradient(RasterPage& page, std::mt19937& random);
// Rectangles of one color each: what a drawing program sends, and what compresses well.
void fill_with_blocks(RasterPage& page, std::mt19937& random);

// The pages as libcups writes them.
[[nodiscard]] std::string raster_stream(const std::vector<RasterPage>& pages,
                                        RasterKind kind = RasterKind::kUncompressed);

// The pages put together by hand, so that no header is too wrong: the four bytes that open an
// uncompressed stream, then each header and its pixels as they are. With `other_byte_order` the
// stream is one that a machine of the other byte order wrote.
[[nodiscard]] std::string raw_raster_stream(const std::vector<RasterPage>& pages,
                                            bool other_byte_order = false);

// The bytes of one page of a raw stream, header first, without the opening four.
[[nodiscard]] std::string raw_page(const RasterPage& page, bool other_byte_order = false);
