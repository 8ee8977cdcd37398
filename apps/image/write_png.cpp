// As with reading, libpng leaves by longjmp: what has a destructor belongs to the caller of the
// step.
#include "apps/image/write_png.h"

#include <png.h>
#include <sys/stat.h>

#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstring>

namespace {

struct Writing {
  png_structp png = nullptr;
  png_infop info = nullptr;
  std::string message;

  Writing() = default;
  ~Writing() { png_destroy_write_struct(&png, &info); }
  Writing(const Writing&) = delete;
  Writing& operator=(const Writing&) = delete;
};

void on_error(png_structp png, png_const_charp message) {
  static_cast<Writing*>(png_get_error_ptr(png))->message = message;
  png_longjmp(png, 1);
}

void on_warning(png_structp, png_const_charp) {}

png_uint_32 dots_per_metre(int dpi) {
  return static_cast<png_uint_32>(std::lround(static_cast<double>(dpi) / 0.0254));
}

// People wait for a whole sheet, and photographs gain little; small pictures are made to be kept.
int compression_for(const Picture& picture) {
  constexpr std::uint64_t small = 1000000;
  return std::uint64_t{picture.width} * picture.height <= small ? 9 : 3;
}

bool write_image(Writing& writing, std::FILE* file, const Picture& picture, PixelDensity density) {
  if (setjmp(png_jmpbuf(writing.png)) != 0) {
    return false;
  }
  png_init_io(writing.png, file);
  png_set_compression_level(writing.png, compression_for(picture));
  png_set_IHDR(writing.png, writing.info, picture.width, picture.height, picture.bits,
               picture.channels == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (density.horizontal_dpi > 0 && density.vertical_dpi > 0) {
    png_set_pHYs(writing.png, writing.info, dots_per_metre(density.horizontal_dpi),
                 dots_per_metre(density.vertical_dpi), PNG_RESOLUTION_METER);
  }
  png_write_info(writing.png, writing.info);
  if (picture.bits == 16) {
    constexpr std::uint16_t one = 1;
    std::uint8_t first = 0;
    std::memcpy(&first, &one, 1);
    if (first == 1) {
      png_set_swap(writing.png);
    }
  }
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    png_write_row(writing.png, picture.bytes.data() + y * picture.row_bytes());
  }
  png_write_end(writing.png, nullptr);
  return true;
}

bool write_to(std::FILE* file, const Picture& picture, PixelDensity density, std::string& error) {
  Writing writing;
  writing.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &writing, on_error, on_warning);
  writing.info = writing.png != nullptr ? png_create_info_struct(writing.png) : nullptr;
  if (writing.info == nullptr) {
    error = "not enough memory for libpng";
    return false;
  }
  errno = 0;
  if (!write_image(writing, file, picture, density)) {
    error = errno != 0 ? std::strerror(errno) : writing.message;
    return false;
  }
  if (std::fflush(file) != 0) {
    error = std::strerror(errno);
    return false;
  }
  return true;
}

// Only a file of our own making may be removed again; a device or a pipe stays.
bool is_plain_file(std::FILE* file) {
  struct stat status {};
  return fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

bool write_png(const std::string& path, const Picture& picture, PixelDensity density,
               std::string& error) {
  if (path == "-") {
    return write_to(stdout, picture, density, error);
  }
  std::FILE* file = std::fopen(path.c_str(), "wbe");
  if (file == nullptr) {
    error = std::strerror(errno);
    return false;
  }
  const bool removable = is_plain_file(file);
  bool written = write_to(file, picture, density, error);
  if (std::fclose(file) != 0 && written) {
    error = std::strerror(errno);
    written = false;
  }
  if (!written && removable) {
    std::remove(path.c_str());
  }
  return written;
}
