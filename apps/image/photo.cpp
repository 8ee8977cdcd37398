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

namespace {

// The loaders that may read a file. libvips has many more, and a blocked loader can still parse the
// file before it reports an error; selecting the loader compares only the first bytes.
constexpr std::array<std::string_view, 7> kLoaders{
    "VipsForeignLoadJpeg", "VipsForeignLoadPng",   "VipsForeignLoadTiff", "VipsForeignLoadWebp",
    "VipsForeignLoadHeif", "VipsForeignLoadNsgif", "VipsForeignLoadPpm"};
constexpr const char* kFormats = "JPEG, PNG, TIFF, WebP, HEIC, AVIF, GIF or PPM";

VipsImage* image(void* object) { return static_cast<VipsImage*>(object); }
VipsSource* source_of(void* object) { return static_cast<VipsSource*>(object); }

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
  const std::uint64_t most = next_number(text);
  if (width == 0 || height == 0 || most == 0 || most > 65535) {
    error = "the PPM header is malformed";
    return 0;
  }
  if (width > kLongestSide || height > kLongestSide) {
    return 1;  // reported as too large
  }
  const std::uint64_t pixels = width * height * (kind == "P6" ? 3 : 1) * (most < 256 ? 1 : 2);
  const auto length = static_cast<std::uint64_t>(std::max<gint64>(vips_source_length(source), 0));
  if (length < head.size() - text.size() + 1 + pixels) {
    error = "the PPM file ends early";
    return 0;
  }
  return (most < 256 ? 255.0 : 65535.0) / static_cast<double>(most);
}

// Most decoders keep all rows; those for TIFF, plain PNG and plain JPEG return them one by one.
constexpr std::uint64_t kMostBytesOfAllRows = std::uint64_t{384} << 20;

bool keeps_all_rows(VipsImage* header, std::string_view loader) {
  int several_passes = 0;
  for (const char* name : {"interlaced", "jpeg-multiscan"}) {
    if (vips_image_get_typeof(header, name) != 0) {
      vips_image_get_int(header, name, &several_passes);
    }
  }
  constexpr std::array by_row{kLoaders[0], kLoaders[1], kLoaders[2]};
  return several_passes != 0 ||
         std::ranges::none_of(by_row, [&](auto name) { return loader.starts_with(name); });
}

bool has_acceptable_size(VipsImage* header, std::string_view loader, std::string& error) {
  const auto width = static_cast<std::uint64_t>(header->Xsize);
  const auto height = static_cast<std::uint64_t>(header->Ysize);
  const bool too_large = width > kLongestSide || height > kLongestSide ||
                         height > kMostPixels / width ||
                         (keeps_all_rows(header, loader) &&
                          width * height * VIPS_IMAGE_SIZEOF_PEL(header) > kMostBytesOfAllRows);
  if (too_large) {
    error =
        "the photo is too large (" + std::to_string(width) + " x " + std::to_string(height) + ")";
  }
  return !too_large;
}

// Transparent pixels show white paper.
int lay_on_white(VipsImage* in, VipsImage** out) {
  if (vips_image_hasalpha(in) == FALSE) {
    return vips_copy(in, out, nullptr);
  }
  const double white = has_wide_samples(in) ? 65535 : 255;
  VipsArrayDouble* background = vips_array_double_newv(1, white);
  const int result = vips_flatten(in, out, "background", background, "max_alpha", white, nullptr);
  vips_area_unref(VIPS_AREA(background));
  return result;
}

// Gray, RGB or CMYK; Lab, HSV and floating point become RGB.
int to_device_color(VipsImage* in, VipsImage** out) {
  switch (vips_image_guess_interpretation(in)) {
    case VIPS_INTERPRETATION_B_W:
    case VIPS_INTERPRETATION_sRGB:
    case VIPS_INTERPRETATION_CMYK:
    case VIPS_INTERPRETATION_GREY16:
    case VIPS_INTERPRETATION_RGB16:
      return vips_copy(in, out, nullptr);
    default:
      return vips_colourspace(in, out, VIPS_INTERPRETATION_sRGB, nullptr);
  }
}

// 8 or 16 bits; CMYK is reduced to 8 bits to save memory.
int as_unsigned(VipsImage* in, VipsImage** out) {
  if (vips_image_guess_interpretation(in) == VIPS_INTERPRETATION_CMYK) {
    return vips_cast(in, out, VIPS_FORMAT_UCHAR, "shift", TRUE, nullptr);
  }
  return vips_cast(in, out, has_wide_samples(in) ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR, nullptr);
}

std::vector<std::uint8_t> profile_of(const VipsImage* in, int channels) {
  const void* data = nullptr;
  std::size_t size = 0;
  if (vips_image_get_typeof(in, VIPS_META_ICC_NAME) == 0 ||
      vips_image_get_blob(in, VIPS_META_ICC_NAME, &data, &size) != 0) {
    vips_error_clear();
    return {};
  }
  const auto* bytes = static_cast<const std::uint8_t*>(data);
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

void Photo::Unref::operator()(void* object) const { g_object_unref(object); }

std::optional<Photo> Photo::open(Descriptor file, std::string& error) {
  if (!start_vips()) {
    error = "libvips cannot be started";
    return std::nullopt;
  }
  vips_error_clear();  // libvips appends to the messages of an earlier file
  Photo photo;
  // libvips needs its own descriptor.
  photo.source_.reset(vips_source_new_from_descriptor(file.get()));
  std::string_view loader;
  if (photo.source_ != nullptr) {
    const char* found = vips_foreign_find_load_source(source_of(photo.source_.get()));
    loader = found != nullptr ? found : "";
    if (std::ranges::none_of(kLoaders, [&](auto name) { return loader.starts_with(name); })) {
      vips_error_clear();
      error = std::string("not a photo in ") + kFormats;
      return std::nullopt;
    }
    photo.is_jpeg_ = loader.starts_with("VipsForeignLoadJpeg");
    if (loader.starts_with("VipsForeignLoadPpm")) {
      photo.widening_ = check_ppm(source_of(photo.source_.get()), error);
      if (photo.widening_ == 0) {
        return std::nullopt;
      }
    }
  }
  photo.header_.reset(photo.source_ != nullptr ? photo.decode(1) : nullptr);
  if (photo.header_ == nullptr) {
    error = vips_reason();
    return std::nullopt;
  }
  if (!has_acceptable_size(image(photo.header_.get()), loader, error)) {
    return std::nullopt;
  }
  return photo;
}

std::uint32_t Photo::width() const {
  return static_cast<std::uint32_t>(image(header_.get())->Xsize);
}

std::uint32_t Photo::height() const {
  return static_cast<std::uint32_t>(image(header_.get())->Ysize);
}

int Photo::orientation() const { return vips_image_get_orientation(image(header_.get())); }

// An image over the file, decoded row by row from the top as needed. A JPEG decoder can return an
// image that is 2, 4 or 8 times smaller in a fraction of the time and memory. libvips reports
// damaged data only as a warning; here it is an error, so that no damaged photo is printed.
void* Photo::decode(std::uint32_t shrink) const {
  VipsSource* source = source_of(source_.get());
  if (!is_jpeg_) {
    return vips_image_new_from_source(source, "", "access", VIPS_ACCESS_SEQUENTIAL, "fail_on",
                                      VIPS_FAIL_ON_TRUNCATED, nullptr);
  }
  VipsImage* out = nullptr;
  const int result =
      vips_jpegload_source(source, &out, "shrink", static_cast<int>(shrink), "access",
                           VIPS_ACCESS_SEQUENTIAL, "fail_on", VIPS_FAIL_ON_WARNING, nullptr);
  return result == 0 ? out : nullptr;
}

std::optional<Picture> Photo::pixels(const PixelArea& area, std::uint32_t width,
                                     std::uint32_t height, int orientation,
                                     std::string& error) const {
  // At least twice the pixels that are needed, so that scaling can still average.
  std::uint32_t shrink = 1;
  while (is_jpeg_ && shrink < 8 && area.width >= 4 * shrink * width &&
         area.height >= 4 * shrink * height) {
    shrink *= 2;
  }
  vips_error_clear();
  Chain chain(image(decode(shrink)));
  if (widening_ != 1) {
    chain.then([this](VipsImage* in, VipsImage** out) {
      return vips_linear1(in, out, widening_, 0.5, nullptr);  // 0.5 rounds
    });
    chain.then([&](VipsImage* in, VipsImage** out) {
      return vips_cast(in, out, image(header_.get())->BandFmt, nullptr);
    });
  }
  chain.then(lay_on_white).then(to_device_color).then(as_unsigned);
  chain.then([&](VipsImage* in, VipsImage** out) {
    const double ratio_x = static_cast<double>(in->Xsize) / this->width();
    const double ratio_y = static_cast<double>(in->Ysize) / this->height();
    const int x = static_cast<int>(area.left * ratio_x);
    const int y = static_cast<int>(area.top * ratio_y);
    return vips_extract_area(
        in, out, x, y, std::clamp(static_cast<int>(area.width * ratio_x), 1, in->Xsize - x),
        std::clamp(static_cast<int>(area.height * ratio_y), 1, in->Ysize - y), nullptr);
  });
  add_scaling(chain, {width, height});
  chain.then(as_unsigned);
  // Nothing is decoded so far; the rotation decodes everything.
  if (chain.get() != nullptr) {
    vips_error_clear();  // warnings that did not stop the decoder
  }
  if (orientation > 1 && orientation <= 8) {
    chain.then([](VipsImage* in, VipsImage** out) {  // rotation needs all rows at once
      *out = vips_image_copy_memory(in);
      return *out != nullptr ? 0 : -1;
    });
    chain.then([&](VipsImage* in, VipsImage** out) {
      malloc_trim(0);  // the rows of the decoder make room for the upright image
      VipsImage* marked = nullptr;
      if (vips_copy(in, &marked, nullptr) != 0) {
        return -1;
      }
      vips_image_set_int(marked, VIPS_META_ORIENTATION, orientation);
      const int result = vips_autorot(marked, out, nullptr);
      g_object_unref(marked);
      return result;
    });
  }
  Picture picture;
  // If the first rows fail, a thread of libvips can end before its result is counted.
  if (chain.get() == nullptr || !render(chain.get(), picture) || *vips_error_buffer() != '\0') {
    error = vips_reason();
    return std::nullopt;
  }
  picture.icc_profile = profile_of(chain.get(), picture.channels);
  return picture;
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
