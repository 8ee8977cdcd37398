#include "apps/layout/raster_writer.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <utility>

#include "apps/base/write_all.h"

namespace k905 {

namespace {

// A row of a page, converted to the number of channels of the raster stream.
void convert_row(const Picture& page, std::uint32_t y, std::vector<std::uint8_t>& row,
                 std::size_t channels) {
  row.resize(page.width * channels);
  const std::uint8_t* from = page.bytes.data() + y * page.row_bytes();
  for (std::size_t x = 0; x < page.width; ++x) {
    if (channels == 3) {
      std::fill_n(row.data() + 3 * x, 3, from[x]);
    } else {
      const std::uint8_t* pixel = from + 3 * x;
      row[x] = static_cast<std::uint8_t>((pixel[0] * 299 + pixel[1] * 587 + pixel[2] * 114 + 500) /
                                         1000);
    }
  }
}

}  // namespace

cups_page_header2_t rgb_page_header(PixelSize size, unsigned vertical_dpi) {
  cups_page_header2_t header{};
  header.HWResolution[0] = 300;
  header.HWResolution[1] = vertical_dpi;
  header.NumCopies = 1;
  header.cupsWidth = size.width;
  header.cupsHeight = size.height;
  header.cupsBitsPerColor = 8;
  header.cupsBitsPerPixel = 24;
  header.cupsBytesPerLine = 3 * size.width;
  header.cupsColorOrder = CUPS_ORDER_CHUNKED;
  header.cupsColorSpace = CUPS_CSPACE_RGB;
  header.cupsNumColors = 3;
  return header;
}

cups_page_header2_t page_header(const PaperConfig& paper, PixelSize size, unsigned vertical_dpi) {
  cups_page_header2_t header = rgb_page_header(size, vertical_dpi);
  header.cupsBorderlessScalingFactor = 1.0F;
  const float points[] = {paper.page_width_pt, paper.page_height_pt};
  for (int i = 0; i < 2; ++i) {
    header.PageSize[i] = header.ImagingBoundingBox[i + 2] =
        static_cast<unsigned>(std::lround(points[i]));
    header.cupsPageSize[i] = header.cupsImagingBBox[i + 2] = points[i];
  }
  std::snprintf(header.cupsPageSizeName, sizeof header.cupsPageSizeName, "%s", paper.ppd_name);
  return header;
}

RasterWriter::RasterWriter(Sink sink, bool compressed)
    : sink_(std::move(sink)),
      raster_(cupsRasterOpenIO(write_bytes, this,
                               compressed ? CUPS_RASTER_WRITE_COMPRESSED : CUPS_RASTER_WRITE)) {}

// libcups could write to the descriptor itself, but does not report the error.
RasterWriter::RasterWriter(int descriptor, bool compressed)
    : RasterWriter(
          [descriptor](const std::uint8_t* bytes, std::size_t count) -> const char* {
            const std::string_view text(reinterpret_cast<const char*>(bytes), count);
            return write_all(descriptor, text) ? nullptr : std::strerror(errno);
          },
          compressed) {}

RasterWriter::~RasterWriter() { cupsRasterClose(raster_); }

ssize_t RasterWriter::write_bytes(void* context, unsigned char* bytes, std::size_t count) {
  auto& writer = *static_cast<RasterWriter*>(context);
  writer.sink_error_ = writer.sink_(bytes, count);
  return writer.sink_error_ == nullptr ? static_cast<ssize_t>(count) : -1;
}

bool RasterWriter::write_page(cups_page_header2_t header, const Rows& rows, std::string& error) {
  bool written = raster_ != nullptr && cupsRasterWriteHeader2(raster_, &header) != 0;
  for (std::uint32_t y = 0; written && y < header.cupsHeight; ++y) {
    // libcups only reads the row, but takes a non-const pointer.
    auto* line = const_cast<std::uint8_t*>(rows(y));
    written =
        cupsRasterWritePixels(raster_, line, header.cupsBytesPerLine) == header.cupsBytesPerLine;
  }
  if (!written) {
    error = sink_error_ != nullptr ? sink_error_ : "libcups refuses the page";
  }
  return written;
}

bool RasterWriter::write_page(const SheetPlace& place, const Picture& page, std::string& error) {
  cups_page_header2_t header =
      page_header(*place.paper, {page.width, page.height}, place.fine ? 600 : 300);
  if (place.gray) {
    header.cupsBitsPerPixel = 8;
    header.cupsBytesPerLine = page.width;
    header.cupsColorSpace = CUPS_CSPACE_W;
    header.cupsNumColors = 1;
  }
  std::vector<std::uint8_t> converted;
  const auto rows = [&](std::uint32_t y) {
    if (header.cupsNumColors == static_cast<unsigned>(page.channels)) {
      return page.bytes.data() + y * page.row_bytes();
    }
    convert_row(page, y, converted, header.cupsNumColors);
    return static_cast<const std::uint8_t*>(converted.data());
  };
  return write_page(header, rows, error);
}

}  // namespace k905
