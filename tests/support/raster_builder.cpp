#include "tests/support/raster_builder.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include "geometry/header_number.h"

namespace {

ssize_t append_to_string(void* context, unsigned char* bytes, std::size_t count) {
  static_cast<std::string*>(context)->append(reinterpret_cast<const char*>(bytes), count);
  return static_cast<ssize_t>(count);
}

std::size_t lines_of_page(const cups_page_header2_t& header) {
  const bool planar = header_number(header.cupsColorOrder) == CUPS_ORDER_PLANAR;
  return std::size_t{header.cupsHeight} * (planar ? header.cupsNumColors : 1);
}

// The numbers of a header are between the four strings at its beginning and the first string of the
// user.
constexpr std::size_t kFirstNumber = offsetof(cups_page_header2_t, AdvanceDistance);
constexpr std::size_t kAfterNumbers = offsetof(cups_page_header2_t, cupsString);

}  // namespace

cups_page_header2_t page_header(unsigned width, unsigned height, unsigned colors,
                                unsigned bits_per_color) {
  cups_page_header2_t header{};
  std::strcpy(header.MediaClass, "PwgRaster");
  std::strcpy(header.MediaColor, "white");
  std::strcpy(header.MediaType, "photographic");
  std::strcpy(header.OutputType, "Photo");
  header.HWResolution[0] = 300;
  header.HWResolution[1] = 300;
  header.NumCopies = 1;
  header.PageSize[0] = 461;
  header.PageSize[1] = 298;
  header.ImagingBoundingBox[2] = 461;
  header.ImagingBoundingBox[3] = 298;
  header.cupsWidth = width;
  header.cupsHeight = height;
  header.cupsBitsPerColor = bits_per_color;
  header.cupsBitsPerPixel = bits_per_color * colors;
  header.cupsBytesPerLine = (header.cupsBitsPerPixel * width + 7) / 8;
  header.cupsColorOrder = CUPS_ORDER_CHUNKED;
  header.cupsColorSpace = colors == 1   ? CUPS_CSPACE_W
                          : colors == 4 ? CUPS_CSPACE_CMYK
                                        : CUPS_CSPACE_RGB;
  header.cupsNumColors = colors;
  header.cupsBorderlessScalingFactor = 1.0F;
  return header;
}

cups_page_header2_t smallest_page_header(unsigned width, unsigned height, unsigned colors,
                                         unsigned bits_per_color) {
  cups_page_header2_t header = page_header(width, height, colors, bits_per_color);
  header.PageSize[0] = 461;
  header.PageSize[1] = 261;
  return header;
}

RasterPage blank_page(const cups_page_header2_t& header) {
  return {header,
          std::vector<std::uint8_t>(lines_of_page(header) * std::size_t{header.cupsBytesPerLine})};
}

void fill_with_noise(RasterPage& page, std::mt19937& random) {
  for (std::uint8_t& byte : page.pixels) {
    byte = static_cast<std::uint8_t>(random() >> 11);
  }
}

void fill_with_gradient(RasterPage& page, std::mt19937& random) {
  const std::size_t stride = page.header.cupsBytesPerLine;
  const std::size_t pixel = std::max<std::size_t>(1, page.header.cupsBitsPerPixel / 8);
  std::vector<int> start(pixel);
  std::vector<int> right(pixel);
  std::vector<int> down(pixel);
  for (std::size_t i = 0; i < pixel; ++i) {
    start[i] = static_cast<int>(random() % 65536);
    right[i] = static_cast<int>(random() % 256) - 128;
    down[i] = static_cast<int>(random() % 256) - 128;
  }
  for (std::size_t at = 0; at < page.pixels.size(); ++at) {
    const int x = static_cast<int>(at % stride / pixel);
    const int y = static_cast<int>(at / stride);
    const std::size_t i = at % stride % pixel;
    // A triangle wave of 16 bits has no jumps.
    const int value = (start[i] + x * right[i] + y * down[i]) & 0x1FFFF;
    page.pixels[at] = static_cast<std::uint8_t>((value < 0x10000 ? value : 0x1FFFF - value) >> 8);
  }
}

void fill_with_blocks(RasterPage& page, std::mt19937& random) {
  const std::size_t stride = page.header.cupsBytesPerLine;
  const std::size_t pixel = std::max<std::size_t>(1, page.header.cupsBitsPerPixel / 8);
  const std::uint32_t salt = static_cast<std::uint32_t>(random());
  for (std::size_t at = 0; at < page.pixels.size(); ++at) {
    const std::uint32_t column = static_cast<std::uint32_t>(at % stride / pixel / 48);
    const std::uint32_t row = static_cast<std::uint32_t>(at / stride / 37);
    const std::uint32_t channel = static_cast<std::uint32_t>(at % stride % pixel);
    std::uint32_t mixed =
        (salt + column * 2654435761U) ^ (row * 2246822519U + channel * 374761393U);
    mixed = (mixed ^ (mixed >> 15)) * 2246822519U;
    page.pixels[at] = static_cast<std::uint8_t>(mixed >> 24);
  }
}

std::string raster_stream(const std::vector<RasterPage>& pages, RasterKind kind) {
  std::string stream;
  cups_raster_t* raster = cupsRasterOpenIO(
      append_to_string, &stream,
      kind == RasterKind::kCompressed ? CUPS_RASTER_WRITE_COMPRESSED : CUPS_RASTER_WRITE);
  for (const RasterPage& page : pages) {
    cups_page_header2_t header = page.header;
    cupsRasterWriteHeader2(raster, &header);
    std::vector<std::uint8_t> line(header.cupsBytesPerLine);
    for (std::size_t y = 0; y < lines_of_page(header); ++y) {
      std::copy_n(page.pixels.begin() + static_cast<std::ptrdiff_t>(y * line.size()), line.size(),
                  line.begin());
      cupsRasterWritePixels(raster, line.data(), header.cupsBytesPerLine);
    }
  }
  cupsRasterClose(raster);
  return stream;
}

std::string raw_page(const RasterPage& page, bool other_byte_order) {
  std::string bytes(reinterpret_cast<const char*>(&page.header), sizeof page.header);
  std::string pixels(page.pixels.begin(), page.pixels.end());
  if (other_byte_order) {
    for (std::size_t at = kFirstNumber; at < kAfterNumbers; at += 4) {
      std::reverse(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                   bytes.begin() + static_cast<std::ptrdiff_t>(at + 4));
    }
    if (page.header.cupsBitsPerColor == 16) {
      for (std::size_t at = 0; at + 1 < pixels.size(); at += 2) {
        std::swap(pixels[at], pixels[at + 1]);
      }
    }
  }
  return bytes + pixels;
}

std::string raw_raster_stream(const std::vector<RasterPage>& pages, bool other_byte_order) {
  std::uint32_t sync = other_byte_order ? CUPS_RASTER_REVSYNC : CUPS_RASTER_SYNC;
  std::string stream(reinterpret_cast<const char*>(&sync), sizeof sync);
  for (const RasterPage& page : pages) {
    stream += raw_page(page, other_byte_order);
  }
  return stream;
}

OpenRaster::OpenRaster(std::string stream) : stream_(std::move(stream)) {
  raster_ = cupsRasterOpenIO(&OpenRaster::read, this, CUPS_RASTER_READ);
  cupsRasterReadHeader2(raster_, &header);
}

ssize_t OpenRaster::read(void* context, unsigned char* buffer, std::size_t bytes) {
  auto& self = *static_cast<OpenRaster*>(context);
  const std::size_t count = std::min(bytes, self.stream_.size() - self.at_);
  std::copy_n(self.stream_.data() + self.at_, count, buffer);
  self.at_ += count;
  return static_cast<ssize_t>(count);
}
