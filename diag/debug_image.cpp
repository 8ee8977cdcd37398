#include "diag/debug_image.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "diag/log.h"
#include "diag/plain_file.h"

namespace {

constexpr std::size_t kNameCapacity = 256;

// Pixels that are interleaved and written at once: about ten rows of a page. They are on the stack,
// so that an image can be saved even when there is no memory.
constexpr std::size_t kChunkPixels = 20'000;

// A name that is too long is truncated; the tags in use are much shorter.
void build_name(char (&name)[kNameCapacity], const char* tag) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char stamp[64];
  if (std::strftime(stamp, sizeof stamp, "%Y%m%d_%H%M%S", &local) == 0) {
    stamp[0] = '\0';
  }
  std::snprintf(name, sizeof name, "%s/%s_%s.ppm", kDebugImageFolder, stamp, tag);
}

// Another user may have created the folder: a symbolic link is not followed. -1 on failure.
int open_image_file(const char* name) {
  const int folder = open(kDebugImageFolder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder < 0) {
    return -1;
  }
  const int file = open_plain_file(folder, name + std::strlen(kDebugImageFolder) + 1);
  close(folder);
  return file;
}

// A debug image is not a result of the job: if it cannot be written, the page continues without it.
void write_bytes(int file, const void* data, std::size_t length) {
  const char* bytes = static_cast<const char*>(data);
  while (length > 0) {
    const ssize_t written = write(file, bytes, length);
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      return;
    }
    bytes += written;
    length -= static_cast<std::size_t>(written);
  }
}

void write_pixels(int file, const std::uint8_t* plane0, const std::uint8_t* plane1,
                  const std::uint8_t* plane2, std::size_t count) {
  std::uint8_t chunk[kChunkPixels * 3];
  for (std::size_t start = 0; start < count; start += kChunkPixels) {
    const std::size_t pixels = std::min(kChunkPixels, count - start);
    for (std::size_t i = 0; i < pixels; ++i) {
      chunk[3 * i] = plane0[start + i];
      chunk[3 * i + 1] = plane1[start + i];
      chunk[3 * i + 2] = plane2[start + i];
    }
    write_bytes(file, chunk, pixels * 3);
  }
}

}  // namespace

bool debug_images_wanted() { return std::getenv("PPD") == nullptr; }

void save_debug_image(const char* tag, const std::uint8_t* plane0, const std::uint8_t* plane1,
                      const std::uint8_t* plane2, unsigned width, int height) {
  if (!debug_images_wanted()) {
    return;
  }
  mkdir(kDebugImageFolder, 0755);
  char name[kNameCapacity];
  build_name(name, tag);
  const int file = open_image_file(name);
  if (file < 0) {
    log_line("K905-1: ERROR: Cannot save debug image %s", name);
    return;
  }

  char head[64];
  const int head_length =
      std::snprintf(head, sizeof head, "P6\n%d %d\n255\n", static_cast<int>(width), height);
  write_bytes(file, head, static_cast<std::size_t>(head_length));
  if (height > 0) {
    write_pixels(file, plane0, plane1, plane2,
                 std::size_t{width} * static_cast<std::size_t>(height));
  }
  close(file);
  log_line("K905-1: Saved debug image: %s (%dx%d, %s)", name, static_cast<int>(width), height,
           "RGB");
}
