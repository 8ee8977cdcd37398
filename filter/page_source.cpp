#include "filter/page_source.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "filter/cancellation.h"

Raster RasterInput::open() {
  buffer_ = make_buffer<std::uint8_t>(kBufferSize);
  return Raster(cupsRasterOpenIO(&RasterInput::read, this, CUPS_RASTER_READ));
}

ssize_t RasterInput::read(void* input, unsigned char* buffer, std::size_t bytes) {
  auto& self = *static_cast<RasterInput*>(input);
  if (self.ended_) {
    return 0;  // Whatever came behind an error would be taken for a page in the wrong place.
  }
  if (self.begin_ == self.end_) {
    // Large requests, and all of them when there was no memory for a buffer, go straight through.
    const bool direct = self.buffer_ == nullptr || bytes >= kBufferSize;
    const ssize_t count = direct ? read_unless_cancelled(0, buffer, bytes)
                                 : read_unless_cancelled(0, self.buffer_.get(), kBufferSize);
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

// Grown with the lines that arrive: what the header promises may be any number.
bool KeptPage::make_room(std::size_t bytes) {
  std::size_t needed = 0;
  if (__builtin_add_overflow(size_, bytes, &needed)) {
    return false;
  }
  if (needed <= capacity_) {
    return true;
  }
  const std::size_t wanted = std::max(needed, capacity_ + capacity_ / 2);
  void* grown = std::realloc(bytes_.get(), wanted);
  if (grown == nullptr) {
    return false;
  }
  (void)bytes_.release();
  bytes_.reset(static_cast<std::uint8_t*>(grown));
  capacity_ = wanted;
  return true;
}

void KeptPage::keep_header(const cups_page_header2_t& header) {
  const std::uint32_t sync_word = CUPS_RASTER_SYNC;
  size_ = 0;
  if (make_room(sizeof sync_word + sizeof header)) {
    std::memcpy(bytes_.get(), &sync_word, sizeof sync_word);
    std::memcpy(bytes_.get() + sizeof sync_word, &header, sizeof header);
    size_ = sizeof sync_word + sizeof header;
  }
}

// Room behind what is kept; null when there is none, and then nothing is kept: half a page would
// look like a raster that broke off.
std::uint8_t* KeptPage::next_line(std::size_t line_bytes) {
  if (size_ == 0 || !make_room(line_bytes)) {
    size_ = 0;
    return nullptr;
  }
  return bytes_.get() + size_;
}

void KeptPage::keep(const cups_page_header2_t& header, cups_raster_t* raster) {
  keep_header(header);
  for (unsigned y = 0; y < header.cupsHeight; ++y) {
    std::uint8_t* line = next_line(header.cupsBytesPerLine);
    if (line == nullptr || cupsRasterReadPixels(raster, line, header.cupsBytesPerLine) == 0) {
      return;
    }
    size_ += header.cupsBytesPerLine;
  }
}

void KeptPage::keep_broken_off(const cups_page_header2_t& header, std::size_t lines) {
  keep_header(header);
  for (std::size_t y = 0; y < lines; ++y) {
    std::uint8_t* line = next_line(header.cupsBytesPerLine);
    if (line == nullptr) {
      return;
    }
    std::memset(line, 0, header.cupsBytesPerLine);
    size_ += header.cupsBytesPerLine;
  }
}

Raster KeptPage::open() {
  if (size_ == 0) {
    return nullptr;
  }
  position_ = 0;
  Raster raster(cupsRasterOpenIO(&KeptPage::read, this, CUPS_RASTER_READ));
  cups_page_header2_t header;
  if (raster != nullptr && cupsRasterReadHeader2(raster.get(), &header) == 0) {
    raster.reset();
  }
  return raster;
}

ssize_t KeptPage::read(void* page, unsigned char* buffer, std::size_t bytes) {
  auto& self = *static_cast<KeptPage*>(page);
  const std::size_t count = std::min(bytes, self.size_ - self.position_);
  std::memcpy(buffer, self.bytes_.get() + self.position_, count);
  self.position_ += count;
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
