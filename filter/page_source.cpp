// Reads the raster stream for libcups in large blocks, and skips the lines that a page left unread.
#include "filter/page_source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "filter/cancellation.h"

Raster RasterInput::open() {
  buffer_ = make_buffer<std::uint8_t>(kBufferSize);
  return Raster(cupsRasterOpenIO(&RasterInput::read, this, CUPS_RASTER_READ));
}

ssize_t RasterInput::read(void* input, unsigned char* buffer, std::size_t bytes) {
  auto& self = *static_cast<RasterInput*>(input);
  if (self.ended_) {
    return 0;  // Data after an error would be read as the wrong part of a page.
  }
  if (self.begin_ == self.end_) {
    // Large requests, and all requests if there was no memory for the buffer, bypass the buffer.
    const bool direct = self.buffer_ == nullptr || bytes >= kBufferSize;
    const ssize_t count = direct ? read_unless_canceled(0, buffer, bytes)
                                 : read_unless_canceled(0, self.buffer_.get(), kBufferSize);
    if (count <= 0) {
      self.ended_ = true;
      self.error_ = count < 0 ? errno : 0;
      return count;
    }
    if (direct) {
      return count;
    }
    self.begin_ = 0;
    self.end_ = static_cast<std::size_t>(count);
  }
  const std::size_t count = std::min(bytes, self.end_ - self.begin_);
  std::memcpy(buffer, self.buffer_.get() + self.begin_, count);
  self.begin_ += count;
  return static_cast<ssize_t>(count);
}

bool skip_rest_of_page(const cups_page_header2_t& header, cups_raster_t* raster) {
  const Plane line = make_buffer<std::uint8_t>(header.cupsBytesPerLine);
  if (line == nullptr) {
    return false;
  }
  while (cupsRasterReadPixels(raster, line.get(), header.cupsBytesPerLine) != 0) {
  }
  return true;
}
