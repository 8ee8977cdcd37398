#include "protocol/bmp_plane.h"

#include <cstdlib>
#include <cstring>

#include "diag/log.h"

namespace {

// Offsets of the fields. All other fields are 0: no compression, no resolution, no color counts.
constexpr std::size_t kTotalSizeOffset = 2;
constexpr std::size_t kPixelStartOffset = 10;
constexpr std::size_t kInfoSizeOffset = 14;
constexpr std::size_t kWidthOffset = 18;
constexpr std::size_t kHeightOffset = 22;
constexpr std::size_t kPlaneCountOffset = 26;
constexpr std::size_t kBitsPerPixelOffset = 28;
constexpr std::size_t kPaletteOffset = 54;

constexpr std::uint32_t kInfoHeaderSize = 40;
constexpr std::size_t kPaletteEntrySize = 4;

void put_le16(std::uint8_t* field, std::uint32_t value) {
  field[0] = static_cast<std::uint8_t>(value);
  field[1] = static_cast<std::uint8_t>(value >> 8);
}

void put_le32(std::uint8_t* field, std::uint32_t value) {
  put_le16(field, value);
  put_le16(field + 2, value >> 16);
}

std::size_t image_size(std::uint32_t width, std::uint32_t height) {
  return std::size_t{width} * height + kBmpHeaderSize;
}

}  // namespace

BmpHeader make_bmp_header(std::uint32_t width, std::uint32_t height) {
  BmpHeader header{};
  header[0] = 'B';
  header[1] = 'M';
  put_le32(&header[kTotalSizeOffset], static_cast<std::uint32_t>(image_size(width, height)));
  put_le32(&header[kPixelStartOffset], kBmpHeaderSize);
  put_le32(&header[kInfoSizeOffset], kInfoHeaderSize);
  put_le16(&header[kWidthOffset], width);
  put_le16(&header[kHeightOffset], height);
  put_le16(&header[kPlaneCountOffset], 1);
  put_le16(&header[kBitsPerPixelOffset], 8);
  for (std::size_t gray = 0; gray < 256; ++gray) {
    // Blue, green, red; the fourth byte stays 0.
    std::memset(&header[kPaletteOffset + gray * kPaletteEntrySize], static_cast<int>(gray), 3);
  }
  return header;
}

std::uint8_t* k905_build_bmp_plane(std::uint32_t width, std::uint32_t height,
                                   const std::uint8_t* plane, std::size_t* size) {
  const std::size_t total = image_size(width, height);
  auto* image = static_cast<std::uint8_t*>(std::malloc(total));
  if (image == nullptr) {
    log_line("K905-1: malloc(%zu) failed for BMP plane", total);
    return nullptr;
  }
  const BmpHeader header = make_bmp_header(width, height);
  std::memcpy(image, header.data(), header.size());
  if (total > header.size()) {
    std::memcpy(image + header.size(), plane, total - header.size());
  }
  if (size != nullptr) {
    *size = total;
  }
  return image;
}
