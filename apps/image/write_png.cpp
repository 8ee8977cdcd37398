// PNG files through libvips.
#include "apps/image/write_png.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <span>
#include <string_view>

#include "apps/base/write_all.h"
#include "apps/image/vips_image.h"

namespace k905 {

namespace {

// Higher levels take longer and hardly reduce the size of photos; for small images the time does
// not matter.
int compression_for(const Picture& picture) {
  constexpr std::uint64_t small = 1000000;
  return std::uint64_t{picture.width} * picture.height <= small ? 9 : 3;
}

// libvips counts pixels per millimeter; 1.0 is its default, which it writes for an unknown density.
constexpr double per_millimeter(int dpi) { return dpi > 0 ? dpi / 25.4 : 1.0; }

VipsInterpretation interpretation_of(const Picture& picture) {
  if (picture.bits == 16) {
    return picture.channels == 1 ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_RGB16;
  }
  return picture.channels == 1 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB;
}

// The CRC of the PNG format, without a table: the pHYs chunk is short.
std::uint32_t crc_of(std::string_view bytes) {
  std::uint32_t crc = 0xFFFFFFFF;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) {
      crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
    }
  }
  return ~crc;
}

void put_number(char* to, std::uint32_t number) {
  for (int i = 0; i < 4; ++i) {
    to[i] = static_cast<char>(number >> (24 - 8 * i));
  }
}

// libvips 8.16 writes the horizontal density for both directions.
void correct_vertical_density(std::span<char> png, double per_millimeter) {
  constexpr std::size_t checked = 13;  // the name of the chunk, two numbers and the unit
  const std::string_view name = "pHYs";
  const auto chunk = std::search(png.begin(), png.end(), name.begin(), name.end());
  if (chunk == png.end()) {
    return;
  }
  char* start = &*chunk;
  put_number(start + 8, static_cast<std::uint32_t>(std::lround(per_millimeter * 1000)));
  put_number(start + checked, crc_of({start, checked}));
}

// After a failure only a regular file is removed, not a device or pipe.
bool is_regular_file(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

bool write_to_path(const std::string& path, std::string_view bytes, std::string& error) {
  const bool is_standard_output = path == "-";
  const int descriptor = is_standard_output
                             ? STDOUT_FILENO
                             : open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  const bool written = descriptor >= 0 && write_all(descriptor, bytes);
  int failure = written ? 0 : errno;
  const bool removable = !is_standard_output && is_regular_file(descriptor);
  if (!is_standard_output && close(descriptor) != 0 && written) {
    failure = errno;
  }
  if (failure == 0) {
    return true;
  }
  error = std::strerror(failure);
  if (removable) {
    std::remove(path.c_str());
  }
  return false;
}

}  // namespace

bool write_png(const std::string& path, const Picture& picture, PixelDensity density,
               std::string& error) {
  void* bytes = nullptr;
  std::size_t size = 0;
  try {
    vips_image_over(picture)
        .copy(vips::VImage::option()
                  ->set("interpretation", interpretation_of(picture))
                  ->set("xres", per_millimeter(density.horizontal_dpi))
                  ->set("yres", per_millimeter(density.vertical_dpi)))
        .write_to_buffer(".png", &bytes, &size,
                         vips::VImage::option()->set("compression", compression_for(picture)));
  } catch (const vips::VError& failure) {
    error = reason_of(failure);
    return false;
  }
  correct_vertical_density({static_cast<char*>(bytes), size}, per_millimeter(density.vertical_dpi));
  const bool written = write_to_path(path, {static_cast<const char*>(bytes), size}, error);
  g_free(bytes);
  return written;
}

}  // namespace k905
