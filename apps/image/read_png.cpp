// PNG through libpng, which leaves by longjmp: between setjmp and the end of a step only plain data
// lives on the stack, everything with a destructor belongs to the caller.
#include <png.h>

#include <csetjmp>
#include <cstring>
#include <vector>

#include "apps/image/picture_readers.h"

namespace {

// Everything that libpng's steps fill; outlives every longjmp.
struct Reading {
  png_structp png = nullptr;
  png_infop info = nullptr;
  Picture picture;  // with alpha still in it: channels may be 2 or 4
  bool interlaced = false;
  std::vector<png_bytep> rows;
  std::string message;

  Reading() = default;
  ~Reading() { png_destroy_read_struct(&png, &info, nullptr); }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;
};

void on_error(png_structp png, png_const_charp message) {
  static_cast<Reading*>(png_get_error_ptr(png))->message = message;
  png_longjmp(png, 1);
}

void on_warning(png_structp, png_const_charp) {}

void ask_for_plain_samples(png_structp png, png_infop info) {
  png_set_expand(png);  // palettes, few bits and transparent colours become 8-bit channels
  if (png_get_bit_depth(png, info) == 16) {
    constexpr std::uint16_t one = 1;
    std::uint8_t first = 0;
    std::memcpy(&first, &one, 1);
    if (first == 1) {
      png_set_swap(png);  // PNG stores the high byte first
    }
  }
}

bool read_header(Reading& reading, std::FILE* file) {
  if (setjmp(png_jmpbuf(reading.png)) != 0) {
    return false;
  }
  png_init_io(reading.png, file);
  png_set_user_limits(reading.png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
  png_read_info(reading.png, reading.info);
  Picture& picture = reading.picture;
  picture.width = png_get_image_width(reading.png, reading.info);
  picture.height = png_get_image_height(reading.png, reading.info);
  reading.interlaced = png_get_interlace_type(reading.png, reading.info) != PNG_INTERLACE_NONE;
  png_charp name = nullptr;
  png_bytep profile = nullptr;
  png_uint_32 profile_size = 0;
  int compression = 0;
  if (png_get_iCCP(reading.png, reading.info, &name, &compression, &profile, &profile_size) != 0) {
    picture.icc_profile.assign(profile, profile + profile_size);
  }
  return true;
}

bool start_pixels(Reading& reading) {
  if (setjmp(png_jmpbuf(reading.png)) != 0) {
    return false;
  }
  ask_for_plain_samples(reading.png, reading.info);
  png_set_interlace_handling(reading.png);
  png_read_update_info(reading.png, reading.info);
  reading.picture.channels = png_get_channels(reading.png, reading.info);
  reading.picture.bits = png_get_bit_depth(reading.png, reading.info);
  return true;
}

bool read_row(Reading& reading, png_bytep row) {
  if (setjmp(png_jmpbuf(reading.png)) != 0) {
    return false;
  }
  png_read_row(reading.png, row, nullptr);
  return true;
}

bool read_image(Reading& reading) {
  if (setjmp(png_jmpbuf(reading.png)) != 0) {
    return false;
  }
  png_read_image(reading.png, reading.rows.data());
  return true;
}

bool read_end(Reading& reading) {
  if (setjmp(png_jmpbuf(reading.png)) != 0) {
    return false;
  }
  png_read_end(reading.png, nullptr);
  return true;
}

bool read_pixels(Reading& reading) {
  Picture& picture = reading.picture;
  const std::size_t row_bytes = picture.row_bytes();
  if (reading.interlaced) {
    // The seven passes go over the whole picture, so it must be there from the start.
    picture.bytes.resize(row_bytes * picture.height);
    for (std::uint32_t y = 0; y < picture.height; ++y) {
      reading.rows.push_back(picture.bytes.data() + y * row_bytes);
    }
    return read_image(reading) && read_end(reading);
  }
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    picture.bytes.resize(picture.bytes.size() + row_bytes);
    if (!read_row(reading, picture.bytes.data() + y * row_bytes)) {
      return false;
    }
  }
  return read_end(reading);
}

template <typename Sample>
void lay_on_white(Picture& picture, int colours) {
  constexpr std::uint32_t full = static_cast<Sample>(~Sample{0});
  const std::size_t pixels = static_cast<std::size_t>(picture.width) * picture.height;
  const std::uint8_t* in = picture.bytes.data();
  std::uint8_t* out = picture.bytes.data();
  for (std::size_t i = 0; i < pixels; ++i) {
    Sample pixel[4];
    const std::size_t size = sizeof(Sample) * static_cast<std::size_t>(colours + 1);
    std::memcpy(pixel, in, size);
    in += size;
    const std::uint64_t alpha = pixel[colours];
    for (int channel = 0; channel < colours; ++channel) {
      const std::uint64_t mixed = pixel[channel] * alpha + full * (full - alpha);
      pixel[channel] = static_cast<Sample>((mixed + full / 2) / full);
    }
    std::memcpy(out, pixel, size - sizeof(Sample));
    out += size - sizeof(Sample);
  }
  picture.channels = colours;
  picture.bytes.resize(pixels * sizeof(Sample) * static_cast<std::size_t>(colours));
}

}  // namespace

std::optional<Picture> read_png(std::FILE* file, std::string& error) {
  Reading reading;
  reading.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &reading, on_error, on_warning);
  reading.info = reading.png != nullptr ? png_create_info_struct(reading.png) : nullptr;
  if (reading.info == nullptr) {
    error = "not enough memory for libpng";
    return std::nullopt;
  }
  if (!read_header(reading, file)) {
    error = "broken PNG: " + reading.message;
    return std::nullopt;
  }
  if (!size_is_sound(reading.picture.width, reading.picture.height, error)) {
    return std::nullopt;
  }
  const bool started = start_pixels(reading);
  if (started && !reserve_samples(reading.picture, 0, error)) {
    return std::nullopt;
  }
  if (!started || !read_pixels(reading)) {
    error = "broken PNG: " + reading.message;
    return std::nullopt;
  }
  Picture& picture = reading.picture;
  if (picture.channels == 2 || picture.channels == 4) {
    const int colours = picture.channels - 1;
    picture.bits == 16 ? lay_on_white<std::uint16_t>(picture, colours)
                       : lay_on_white<std::uint8_t>(picture, colours);
  }
  // A member of `reading`: without the move it would be copied.
  // cppcheck-suppress returnStdMoveLocal
  return std::move(picture);
}
