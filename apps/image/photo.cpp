// Opening and scaling photo files with libvips.
#include "apps/image/photo.h"

#include <fcntl.h>
#include <malloc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "apps/image/vips_image.h"

namespace k905 {

using vips::VImage;

namespace {

// The loaders that may read a file. libvips has many more, and a blocked loader can still parse the
// file before it reports an error; selecting the loader compares only the first bytes.
constexpr std::array<std::string_view, 7> kLoaders{
    "VipsForeignLoadJpeg", "VipsForeignLoadPng",   "VipsForeignLoadTiff", "VipsForeignLoadWebp",
    "VipsForeignLoadHeif", "VipsForeignLoadNsgif", "VipsForeignLoadPpm"};
constexpr const char* kFormats = "JPEG, PNG, TIFF, WebP, HEIC, AVIF, GIF or PPM";

// The next word of a PPM header, after spaces and comments; empty at its end.
std::string_view next_word(std::string_view& text) {
  for (;;) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    if (!text.starts_with('#')) {
      break;
    }
    text.remove_prefix(std::min(text.find('\n'), text.size()));
  }
  const std::string_view word = text.substr(0, text.find_first_of(" \t\r\n"));
  text.remove_prefix(word.size());
  return word;
}

std::uint64_t next_number(std::string_view& text) {
  const std::string_view word = next_word(text);
  std::uint64_t number = 0;
  const auto [end, failure] = std::from_chars(word.data(), word.data() + word.size(), number);
  return failure == std::errc() && end == word.data() + word.size() ? number : 0;
}

// libvips neither detects that a PPM or PGM file is malformed or truncated, nor widens samples that
// do not use all of their bits: a file with a maximum of 15 would be almost black. Returns the
// factor for the samples, or 0 with `error` set.
double check_ppm(VipsSource* source, std::string& error) {
  unsigned char* start = nullptr;
  const gint64 sniffed = vips_source_sniff_at_most(source, &start, 1024);
  const std::string_view head(reinterpret_cast<const char*>(start),
                              static_cast<std::size_t>(std::max<gint64>(sniffed, 0)));
  std::string_view text = head;
  const std::string_view kind = next_word(text);
  if (kind != "P5" && kind != "P6") {
    error = "only binary PGM (P5) and PPM (P6) files are read";
    return 0;
  }
  const std::uint64_t width = next_number(text);
  const std::uint64_t height = next_number(text);
  const std::uint64_t max_value = next_number(text);
  if (width == 0 || height == 0 || max_value == 0 || max_value > 65535) {
    error = "the PPM header is malformed";
    return 0;
  }
  if (width > kMaxSide || height > kMaxSide) {
    return 1;  // reported as too large
  }
  const std::uint64_t pixels = width * height * (kind == "P6" ? 3 : 1) * (max_value < 256 ? 1 : 2);
  const auto length = static_cast<std::uint64_t>(std::max<gint64>(vips_source_length(source), 0));
  if (length < head.size() - text.size() + 1 + pixels) {
    error = "the PPM file ends early";
    return 0;
  }
  return (max_value < 256 ? 255.0 : 65535.0) / static_cast<double>(max_value);
}

// Most decoders keep all rows; those for TIFF, plain PNG and plain JPEG return them one by one.
constexpr std::uint64_t kMaxBytesOfAllRows = std::uint64_t{384} << 20;

bool keeps_all_rows(const VImage& header, std::string_view loader) {
  const auto is_set = [&](const char* name) {
    return header.get_typeof(name) != 0 && header.get_int(name) != 0;
  };
  constexpr std::array by_row{kLoaders[0], kLoaders[1], kLoaders[2]};
  return is_set("interlaced") || is_set("jpeg-multiscan") ||
         std::ranges::none_of(by_row, [&](auto name) { return loader.starts_with(name); });
}

bool has_acceptable_size(const VImage& header, std::string_view loader) {
  const auto width = static_cast<std::uint64_t>(header.width());
  const auto height = static_cast<std::uint64_t>(header.height());
  return width <= kMaxSide && height <= kMaxSide && height <= kMaxPixels / width &&
         (!keeps_all_rows(header, loader) ||
          width * height * VIPS_IMAGE_SIZEOF_PEL(header.get_image()) <= kMaxBytesOfAllRows);
}

// Transparent pixels show white paper.
VImage laid_on_white(const VImage& in) {
  if (!in.has_alpha()) {
    return in;
  }
  const double white = has_wide_samples(in) ? 65535 : 255;
  return in.flatten(
      VImage::option()->set("background", std::vector<double>{white})->set("max_alpha", white));
}

// Gray, RGB or CMYK; Lab, HSV and floating point become RGB.
VImage in_device_color(const VImage& in) {
  switch (in.guess_interpretation()) {
    case VIPS_INTERPRETATION_B_W:
    case VIPS_INTERPRETATION_sRGB:
    case VIPS_INTERPRETATION_CMYK:
    case VIPS_INTERPRETATION_GREY16:
    case VIPS_INTERPRETATION_RGB16:
      return in;
    default:
      return in.colourspace(VIPS_INTERPRETATION_sRGB);
  }
}

// 8 or 16 bits; CMYK is reduced to 8 bits to save memory.
VImage as_unsigned(const VImage& in) {
  if (in.guess_interpretation() == VIPS_INTERPRETATION_CMYK) {
    return in.cast(VIPS_FORMAT_UCHAR, VImage::option()->set("shift", true));
  }
  return in.cast(has_wide_samples(in) ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR);
}

std::vector<std::uint8_t> profile_of(const VImage& in, int channels) {
  std::size_t size = 0;
  if (in.get_typeof(VIPS_META_ICC_NAME) == 0) {
    return {};
  }
  const auto* bytes = static_cast<const std::uint8_t*>(in.get_blob(VIPS_META_ICC_NAME, &size));
  // A profile names its color space at byte 16 of a header of 128.
  const char* space = channels == 1 ? "GRAY" : channels == 4 ? "CMYK" : "RGB ";
  if (size < 128 || std::memcmp(bytes + 16, space, 4) != 0) {
    return {};
  }
  return {bytes, bytes + size};
}

}  // namespace

Descriptor open_photo_file(const std::string& path, std::string& error) {
  Descriptor file(path == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)
                              : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) {
    error = std::strerror(errno);
    return Descriptor();
  }
  if (path != "-" && !S_ISREG(status.st_mode)) {
    error = S_ISDIR(status.st_mode) ? std::strerror(EISDIR) : "not a regular file";
    return Descriptor();
  }
  if (S_ISREG(status.st_mode) && status.st_size == 0) {
    error = "the file is empty";
    return Descriptor();
  }
  return file;
}

void load_modules_for(const Descriptor& file) {
  std::array<char, 8> start{};
  const bool is_known = pread(file.get(), start.data(), start.size(), 0) == ssize_t{start.size()};
  if (is_known && std::string_view(start.data() + 4, 4) != "ftyp") {
    setenv("VIPSHOME", "/nonexistent", 1);  // where libvips looks for its modules
  }
}

struct Photo::Source {
  vips::VSource source;
  VImage header;
  bool is_jpeg = false;
  double widening = 1;  // factor for samples that do not use all of their bits

  // An image over the file, decoded row by row from the top as needed. A JPEG decoder can return an
  // image that is 2, 4 or 8 times smaller in a fraction of the time and memory. libvips reports
  // damaged data only as a warning; here it is an error, so that no damaged photo is printed.
  [[nodiscard]] VImage decode(std::uint32_t shrink) const {
    vips::VOption* options = VImage::option()->set("access", VIPS_ACCESS_SEQUENTIAL);
    return is_jpeg
               ? VImage::jpegload_source(source, options->set("shrink", static_cast<int>(shrink))
                                                     ->set("fail_on", VIPS_FAIL_ON_WARNING))
               : VImage::new_from_source(source, "",
                                         options->set("fail_on", VIPS_FAIL_ON_TRUNCATED));
  }
};

std::optional<Photo> Photo::open(Descriptor file, std::string& error) {
  try {
    start_vips();
    vips_error_clear();  // libvips appends to the messages of an earlier file
    // libvips needs its own descriptor.
    Source photo{.source = vips::VSource::new_from_descriptor(file.get()), .header = {}};
    const char* found = vips_foreign_find_load_source(photo.source.get_source());
    const std::string_view loader = found != nullptr ? found : "";
    if (std::ranges::none_of(kLoaders, [&](auto name) { return loader.starts_with(name); })) {
      vips_error_clear();
      error = std::string("not a photo in ") + kFormats;
      return std::nullopt;
    }
    photo.is_jpeg = loader.starts_with("VipsForeignLoadJpeg");
    if (loader.starts_with("VipsForeignLoadPpm")) {
      photo.widening = check_ppm(photo.source.get_source(), error);
      if (photo.widening == 0) {
        return std::nullopt;
      }
    }
    photo.header = photo.decode(1);
    if (!has_acceptable_size(photo.header, loader)) {
      error = "the photo is too large (" + std::to_string(photo.header.width()) + " x " +
              std::to_string(photo.header.height()) + ")";
      return std::nullopt;
    }
    return Photo(std::make_shared<const Source>(std::move(photo)));
  } catch (const vips::VError& failure) {
    error = reason_of(failure);
    return std::nullopt;
  }
}

std::uint32_t Photo::width() const { return static_cast<std::uint32_t>(source_->header.width()); }

std::uint32_t Photo::height() const { return static_cast<std::uint32_t>(source_->header.height()); }

int Photo::orientation() const { return vips_image_get_orientation(source_->header.get_image()); }

std::optional<Picture> Photo::pixels(const PixelArea& area, std::uint32_t width,
                                     std::uint32_t height, int orientation,
                                     std::string& error) const {
  // At least twice the pixels that are needed, so that scaling can still average.
  std::uint32_t shrink = 1;
  while (source_->is_jpeg && shrink < 8 && area.width >= 4 * shrink * width &&
         area.height >= 4 * shrink * height) {
    shrink *= 2;
  }
  try {
    vips_error_clear();
    VImage image = source_->decode(shrink);
    if (source_->widening != 1) {
      // 0.5 rounds.
      image = image.linear(source_->widening, 0.5).cast(source_->header.format());
    }
    image = as_unsigned(in_device_color(laid_on_white(image)));
    const double ratio_x = static_cast<double>(image.width()) / this->width();
    const double ratio_y = static_cast<double>(image.height()) / this->height();
    const int x = static_cast<int>(area.left * ratio_x);
    const int y = static_cast<int>(area.top * ratio_y);
    image = image.extract_area(
        x, y, std::clamp(static_cast<int>(area.width * ratio_x), 1, image.width() - x),
        std::clamp(static_cast<int>(area.height * ratio_y), 1, image.height() - y));
    image = as_unsigned(scaled_exactly(image, {width, height}));
    // Nothing is decoded so far; the rotation decodes everything.
    vips_error_clear();  // warnings that did not stop the decoder
    if (orientation > 1 && orientation <= 8) {
      image = image.copy_memory();  // rotation needs all rows at once
      malloc_trim(0);               // frees the rows of the decoder
      image = image.copy();
      image.set(VIPS_META_ORIENTATION, orientation);
      image = image.autorot();
    }
    Picture picture = rendered(image);
    // If the first rows fail, a thread of libvips can end before its result is counted.
    if (*vips_error_buffer() != '\0') {
      throw vips::VError();
    }
    picture.icc_profile = profile_of(image, picture.channels);
    return picture;
  } catch (const vips::VError& failure) {
    error = reason_of(failure);
    return std::nullopt;
  }
}

std::optional<Picture> read_photo(const std::string& path, std::string& error) {
  Descriptor file = open_photo_file(path, error);
  const std::optional<Photo> photo = file ? Photo::open(std::move(file), error) : std::nullopt;
  if (!photo) {
    return std::nullopt;
  }
  auto picture = photo->pixels({0, 0, photo->width(), photo->height()}, photo->width(),
                               photo->height(), photo->orientation(), error);
  if (picture && picture->channels == 4) {
    inks_to_colors(*picture);
    picture->icc_profile.clear();
  }
  return picture;
}

}  // namespace k905
