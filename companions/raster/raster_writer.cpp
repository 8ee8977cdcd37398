#include "companions/raster/raster_writer.h"

#include <cerrno>
#include <cstring>

RasterWriter::RasterWriter(int descriptor, bool compressed)
    : raster_(cupsRasterOpen(descriptor,
                             compressed ? CUPS_RASTER_WRITE_COMPRESSED : CUPS_RASTER_WRITE)) {}

RasterWriter::~RasterWriter() { cupsRasterClose(raster_); }

bool RasterWriter::write_page(const PagePlan& plan, const Picture& picture, std::string& error) {
  errno = 0;
  cups_page_header2_t header = make_page_header(plan, picture.width, picture.height);
  bool written = raster_ != nullptr && cupsRasterWriteHeader2(raster_, &header) != 0;
  std::vector<std::uint8_t> line;
  for (std::uint32_t y = 0; written && y < picture.height; ++y) {
    encode_line(picture, y, *plan.format, plan.colour_space, line);
    const auto size = static_cast<unsigned>(line.size());
    written = cupsRasterWritePixels(raster_, line.data(), size) == size;
  }
  if (!written) {
    error = errno != 0 ? std::strerror(errno) : "libcups refuses the page";
  }
  return written;
}
