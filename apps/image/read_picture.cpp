#include "apps/image/read_picture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include "apps/image/picture_readers.h"

namespace {

struct FileCloser {
  void operator()(std::FILE* file) const {
    if (file != stdin) {
      std::fclose(file);
    }
  }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

// Null with the reason in `error`. A FIFO is not waited for, not even one that was put there after
// a look at the folder.
File open_file(const std::string& path, std::string& error) {
  if (path == "-") {
    return File(stdin);
  }
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  struct stat status {};
  if (descriptor < 0 || fstat(descriptor, &status) != 0) {
    error = std::strerror(errno);
    return nullptr;
  }
  if (!S_ISREG(status.st_mode)) {
    error = S_ISDIR(status.st_mode) ? std::strerror(EISDIR) : "not a regular file";
    close(descriptor);
    return nullptr;
  }
  File file(fdopen(descriptor, "rb"));
  if (!file) {
    error = std::strerror(errno);
    close(descriptor);
  }
  return file;
}

std::optional<Picture> read_by_first_byte(std::FILE* file, Inks inks, std::string& error) {
  errno = 0;
  const int first = std::getc(file);
  if (first == EOF) {
    error = std::ferror(file) != 0 ? std::strerror(errno) : "the file is empty";
    return std::nullopt;
  }
  std::ungetc(first, file);
  switch (first) {
    case 0x89:
      return read_png(file, error);
    case 0xFF:
      return read_jpeg(file, inks, error);
    case 'P':
      return read_pnm(file, error);
    default:
      error = "neither PNG nor JPEG nor PPM";
      return std::nullopt;
  }
}

}  // namespace

std::optional<Picture> read_picture(const std::string& path, std::string& error, Inks inks) {
  const File file = open_file(path, error);
  if (!file) {
    return std::nullopt;
  }
  try {
    std::optional<Picture> picture = read_by_first_byte(file.get(), inks, error);
    if (picture) {
      keep_fitting_profile(*picture);
    }
    return picture;
  } catch (const std::bad_alloc&) {
    error = "not enough memory for the picture";
    return std::nullopt;
  }
}

bool size_is_sound(std::uint64_t width, std::uint64_t height, std::string& error) {
  const std::string size = std::to_string(width) + " x " + std::to_string(height);
  if (width == 0 || height == 0) {
    error = "the picture is empty (" + size + ")";
    return false;
  }
  // Divided, not multiplied: the product of two sizes from a file may overflow.
  if (width > kLongestSide || height > kLongestSide || height > kMostPixels / width) {
    error = "the picture is too large (" + size + ")";
    return false;
  }
  return true;
}

bool reserve_samples(Picture& picture, std::uint64_t decoder_bytes, std::string& error) {
  // Neither overflows: the sides are below 2^20, a pixel has at most 8 bytes.
  const std::uint64_t samples = std::uint64_t{picture.row_bytes()} * picture.height;
  if (samples + decoder_bytes > kMostReadingBytes) {
    constexpr std::uint64_t mib = 1 << 20;
    error = "the picture is too large (" + std::to_string(picture.width) + " x " +
            std::to_string(picture.height) + "): reading it takes " +
            std::to_string((samples + decoder_bytes) / mib) + " MiB, the limit is " +
            std::to_string(kMostReadingBytes / mib) + " MiB";
    return false;
  }
  picture.bytes.reserve(samples);
  return true;
}

bool is_profile_for(const std::vector<std::uint8_t>& profile, const char* space) {
  // A profile names its colour space at byte 16.
  constexpr std::size_t header = 128;
  return profile.size() >= header && std::memcmp(profile.data() + 16, space, 4) == 0;
}

void keep_fitting_profile(Picture& picture) {
  const char* space = picture.channels == 1 ? "GRAY" : picture.channels == 4 ? "CMYK" : "RGB ";
  if (!is_profile_for(picture.icc_profile, space)) {
    picture.icc_profile.clear();
  }
}
