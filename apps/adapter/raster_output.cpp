#include "apps/adapter/raster_output.h"

#include <string_view>

#include "apps/base/write_all.h"

namespace k905 {

namespace {

// The usual capacity of a pipe.
constexpr std::size_t kPipeBytes = std::size_t{64} * 1024;

}  // namespace

RasterOutput::RasterOutput(int descriptor) : descriptor_(descriptor) {
  buffer_.reserve(kPipeBytes);
}

bool RasterOutput::write(const void* bytes, std::size_t count) {
  if (buffer_.size() + count > kPipeBytes && !flush()) return false;
  const auto* first = static_cast<const std::uint8_t*>(bytes);
  buffer_.insert(buffer_.end(), first, first + count);
  return !failed_;
}

bool RasterOutput::write_sync_word() {
  const std::uint32_t sync_word = CUPS_RASTER_SYNC;
  return write(&sync_word, sizeof sync_word);
}

bool RasterOutput::write_header(const cups_page_header2_t& header) {
  return write(&header, sizeof header);
}

bool RasterOutput::flush() {
  const std::string_view bytes(reinterpret_cast<const char*>(buffer_.data()), buffer_.size());
  failed_ = failed_ || !write_all(descriptor_, bytes);
  buffer_.clear();
  return !failed_;
}

}  // namespace k905
