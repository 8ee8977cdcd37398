#include "apps/adapter/raster_input.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace k905 {

namespace {

// The usual capacity of a pipe.
constexpr std::size_t kReadBytes = std::size_t{64} * 1024;

// Also ends the input once the reader of the output has closed its end, so that the writer of the
// input notices. The descriptor may be shared with a program that made it non-blocking.
ssize_t read_when_ready(int descriptor, int output, std::uint8_t* bytes, std::size_t count) {
  for (;;) {
    pollfd ready[2] = {{descriptor, POLLIN, 0}, {output, 0, 0}};
    if (poll(ready, 2, -1) > 0 && ready[1].revents != 0) return 0;
    const ssize_t done = read(descriptor, bytes, count);
    if (done >= 0 || (errno != EINTR && errno != EAGAIN)) return done;
  }
}

}  // namespace

RasterInput::RasterInput(int descriptor, int output)
    : descriptor_(descriptor), output_(output), buffer_(kReadBytes) {}

bool RasterInput::open() {
  raster_.reset(cupsRasterOpenIO(&RasterInput::read_bytes, this, CUPS_RASTER_READ));
  opening_done_ = true;
  return raster_ != nullptr;
}

bool RasterInput::next_page(cups_page_header2_t& header) {
  return cupsRasterReadHeader2(raster_.get(), &header) != 0;
}

bool RasterInput::read_line(std::span<std::uint8_t> line) {
  return cupsRasterReadPixels(raster_.get(), line.data(), static_cast<unsigned>(line.size())) != 0;
}

void RasterInput::fill() {
  const ssize_t count = read_when_ready(descriptor_, output_, buffer_.data(), buffer_.size());
  if (count <= 0) {
    ended_ = true;
    error_ = count < 0 ? errno : 0;
    return;
  }
  begin_ = 0;
  end_ = static_cast<std::size_t>(count);
}

std::span<const std::uint8_t> RasterInput::unread_bytes() {
  if (begin_ == end_ && !ended_) fill();
  const std::span<const std::uint8_t> bytes(buffer_.data() + begin_, end_ - begin_);
  begin_ = end_;
  return bytes;
}

ssize_t RasterInput::read_bytes(void* input, unsigned char* bytes, std::size_t count) {
  auto& self = *static_cast<RasterInput*>(input);
  if (self.begin_ == self.end_ && !self.ended_) self.fill();
  const std::size_t taken = std::min(count, self.end_ - self.begin_);
  std::memcpy(bytes, self.buffer_.data() + self.begin_, taken);
  self.begin_ += taken;
  if (!self.opening_done_) self.opening_.insert(self.opening_.end(), bytes, bytes + taken);
  return static_cast<ssize_t>(taken);
}

}  // namespace k905
