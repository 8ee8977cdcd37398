#include "apps/layout/raster_writer.h"

#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "apps/base/write_whole.h"

RasterWriter::RasterWriter(Sink sink, bool compressed)
    : sink_(std::move(sink)),
      raster_(cupsRasterOpenIO(write_bytes, this,
                               compressed ? CUPS_RASTER_WRITE_COMPRESSED : CUPS_RASTER_WRITE)) {}

// libcups would write by itself, but does not tell why it failed.
RasterWriter::RasterWriter(int descriptor, bool compressed)
    : RasterWriter(
          [descriptor](const std::uint8_t* bytes, std::size_t count) -> const char* {
            const std::string_view text(reinterpret_cast<const char*>(bytes), count);
            return write_whole(descriptor, text) ? nullptr : std::strerror(errno);
          },
          compressed) {}

RasterWriter::~RasterWriter() { cupsRasterClose(raster_); }

ssize_t RasterWriter::write_bytes(void* context, unsigned char* bytes, std::size_t count) {
  auto& writer = *static_cast<RasterWriter*>(context);
  writer.sink_error_ = writer.sink_(bytes, count);
  return writer.sink_error_ == nullptr ? static_cast<ssize_t>(count) : -1;
}

bool RasterWriter::write_page(const PagePlan& plan, const Picture& picture, std::string& error) {
  cups_page_header2_t header = make_page_header(plan, picture.width, picture.height);
  bool written = raster_ != nullptr && cupsRasterWriteHeader2(raster_, &header) != 0;
  std::vector<std::uint8_t> line;
  for (std::uint32_t y = 0; written && y < picture.height; ++y) {
    encode_line(picture, y, *plan.format, plan.colour_space, line);
    const auto size = static_cast<unsigned>(line.size());
    written = cupsRasterWritePixels(raster_, line.data(), size) == size;
  }
  if (!written) {
    error = sink_error_ != nullptr ? sink_error_ : "libcups refuses the page";
  }
  return written;
}
