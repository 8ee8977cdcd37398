#include "apps/adapter/rotated_rows.h"

#include <algorithm>
#include <cstring>

namespace k905 {

namespace {

constexpr std::size_t kStripRows = 16;
// The limit for memory that is reserved in advance: more is allocated only for rows that arrive,
// not because of the size in a header.
constexpr std::size_t kMaxReservedBytes = std::size_t{256} << 20;

}  // namespace

RotatedRows::RotatedRows(RowSource& page, std::uint32_t width, std::uint32_t height,
                         std::size_t pixel_bytes)
    : page_(page), width_(width), height_(height), pixel_bytes_(pixel_bytes) {}

bool RotatedRows::read_page() {
  const std::size_t row_bytes = width_ * pixel_bytes_;
  pixels_.reserve(std::min(row_bytes * height_, kMaxReservedBytes));
  for (std::size_t y = 0; y < height_; ++y) {
    const std::uint8_t* row = page_.next_row();
    if (row == nullptr) return false;
    pixels_.insert(pixels_.end(), row, row + row_bytes);
  }
  return true;
}

// A template, so that the size of a copy is a compile-time constant.
template <std::size_t pixel_bytes>
void RotatedRows::copy_strip() {
  const std::size_t row_bytes = height_ * pixel_bytes;
  for (std::size_t i = 0; i < height_; ++i) {
    const std::uint8_t* from =
        pixels_.data() + ((height_ - 1 - i) * width_ + strip_begin_) * pixel_bytes;
    std::uint8_t* out = strip_.data() + i * pixel_bytes;
    for (std::size_t row = strip_begin_; row < strip_end_; ++row) {
      std::memcpy(out, from, pixel_bytes);
      from += pixel_bytes;
      out += row_bytes;
    }
  }
}

void RotatedRows::make_strip() {
  strip_begin_ = next_;
  strip_end_ = std::min(next_ + kStripRows, width_);
  strip_.resize(kStripRows * height_ * pixel_bytes_);
  switch (pixel_bytes_) {
    case 1:
      return copy_strip<1>();
    case 2:
      return copy_strip<2>();
    case 3:
      return copy_strip<3>();
    case 4:
      return copy_strip<4>();
    default:
      return copy_strip<6>();
  }
}

const std::uint8_t* RotatedRows::next_row() {
  if (!read_) {
    read_ = true;
    if (!read_page()) next_ = width_;
  }
  if (next_ >= width_) return nullptr;
  if (next_ >= strip_end_) make_strip();
  return strip_.data() + (next_++ - strip_begin_) * height_ * pixel_bytes_;
}

}  // namespace k905
