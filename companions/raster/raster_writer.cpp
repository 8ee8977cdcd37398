#include "companions/raster/raster_writer.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

RasterWriter::RasterWriter(int descriptor, bool compressed)
    : descriptor_(descriptor),
      raster_(cupsRasterOpenIO(write_bytes, this,
                               compressed ? CUPS_RASTER_WRITE_COMPRESSED : CUPS_RASTER_WRITE)) {}

RasterWriter::~RasterWriter() { cupsRasterClose(raster_); }

// libcups would write by itself, but does not tell why it failed.
ssize_t RasterWriter::write_bytes(void* context, unsigned char* bytes, std::size_t count) {
  auto& writer = *static_cast<RasterWriter*>(context);
  std::size_t done = 0;
  while (done < count) {
    const ssize_t written = write(writer.descriptor_, bytes + done, count - done);
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      writer.write_error_ = written < 0 ? errno : EIO;
      return -1;
    }
    done += static_cast<std::size_t>(written);
  }
  return static_cast<ssize_t>(count);
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
    error = write_error_ != 0 ? std::strerror(write_error_) : "libcups refuses the page";
  }
  return written;
}
