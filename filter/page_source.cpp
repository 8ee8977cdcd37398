#include "filter/page_source.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "filter/cancellation.h"

Raster RasterInput::open() {
  buffer_ = make_plane(kBufferSize);
  return Raster(cupsRasterOpenIO(&RasterInput::read, this, CUPS_RASTER_READ));
}

ssize_t RasterInput::read(void* input, unsigned char* buffer, std::size_t bytes) {
  auto& self = *static_cast<RasterInput*>(input);
  if (self.begin_ == self.end_) {
    // Large requests, and all of them when there was no memory for a buffer, go straight through.
    const bool direct = self.buffer_ == nullptr || bytes >= kBufferSize;
    const ssize_t count = direct ? read_unless_cancelled(0, buffer, bytes)
                                 : read_unless_cancelled(0, self.buffer_.get(), kBufferSize);
    if (count <= 0) {
      self.ended_ = true;
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
bool KeptPage::make_room(std::size_t needed) {
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

void KeptPage::keep(const cups_page_header2_t& header, cups_raster_t* raster) {
  const std::size_t line_bytes = header.cupsBytesPerLine;
  keep_header(header);
  for (unsigned y = 0; size_ > 0 && y < header.cupsHeight; ++y) {
    std::size_t needed = 0;
    if (__builtin_add_overflow(size_, line_bytes, &needed) || !make_room(needed)) {
      size_ = 0;  // Half a page would look like a raster that broke off.
      return;
    }
    if (cupsRasterReadPixels(raster, bytes_.get() + size_, header.cupsBytesPerLine) == 0) {
      return;
    }
    size_ = needed;
  }
}

void KeptPage::keep_if_needed(const cups_page_header2_t& header, cups_raster_t* raster,
                              const PageMemory& memory) {
  keep_header(header);
  passing_ = Passing::kBefore;
  source_ = raster;
  memory_ = &memory;
  header_ = header;
}

Raster KeptPage::open() {
  const bool passed_on_whole = passing_ == Passing::kLines && lines_passed_ == header_.cupsHeight;
  if (size_ == 0 || passed_on_whole) {
    return nullptr;
  }
  position_ = 0;
  lines_repeated_ = 0;
  Raster raster(cupsRasterOpenIO(&KeptPage::read, this, CUPS_RASTER_READ));
  cups_page_header2_t header;
  if (raster != nullptr && cupsRasterReadHeader2(raster.get(), &header) == 0) {
    raster.reset();
  }
  return raster;
}

ssize_t KeptPage::read(void* page, unsigned char* buffer, std::size_t bytes) {
  auto& self = *static_cast<KeptPage*>(page);
  if (self.position_ == self.size_ && self.passing_ == Passing::kBefore) {
    // The pipeline takes whole lines; a libcups that wanted them in pieces gets them from memory.
    const bool can_pass = bytes >= self.header_.cupsBytesPerLine && self.memory_->stages.complete();
    self.passing_ = can_pass ? Passing::kLines : Passing::kNot;
    if (!can_pass) {
      self.keep(self.header_, self.source_);
    }
  }
  if (self.position_ < self.size_ || self.passing_ == Passing::kNot) {
    return static_cast<ssize_t>(self.take_kept(buffer, bytes));
  }
  return static_cast<ssize_t>(self.passing_ == Passing::kLines ? self.pass_line(buffer, bytes)
                                                               : self.repeat_line(buffer, bytes));
}

std::size_t KeptPage::take_kept(unsigned char* buffer, std::size_t bytes) {
  const std::size_t count = size_ > position_ ? std::min(bytes, size_ - position_) : 0;
  std::memcpy(buffer, bytes_.get() + position_, count);
  position_ += count;
  return count;
}

std::size_t KeptPage::pass_line(unsigned char* buffer, std::size_t bytes) {
  if (bytes < header_.cupsBytesPerLine ||
      cupsRasterReadPixels(source_, buffer, header_.cupsBytesPerLine) == 0) {
    passing_ = Passing::kEnded;
    return 0;
  }
  ++lines_passed_;
  return header_.cupsBytesPerLine;
}

// A page that broke off breaks off at the same line in every copy, and nothing of it is printed:
// any lines will do.
std::size_t KeptPage::repeat_line(unsigned char* buffer, std::size_t bytes) {
  if (lines_repeated_ == lines_passed_) {
    return 0;
  }
  ++lines_repeated_;
  std::memset(buffer, 0, bytes);
  return bytes;
}

bool skip_rest_of_page(const cups_page_header2_t& header, cups_raster_t* raster) {
  const Plane line = make_plane(header.cupsBytesPerLine);
  if (line == nullptr) {
    return false;
  }
  while (cupsRasterReadPixels(raster, line.get(), header.cupsBytesPerLine) != 0) {
  }
  return true;
}
