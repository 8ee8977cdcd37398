// A photo file, opened and scaled by libvips: JPEG, PNG, TIFF, WebP, HEIC, AVIF, GIF (its first
// frame), PPM and PGM. Programs read photo files through this header only.
//
// libvips calls large libraries on untrusted data. Programs that must survive a malformed file open
// it in a child process (layout/page_in_child.h).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "apps/base/descriptor.h"
#include "apps/image/picture.h"

namespace k905 {

// Opens the photo file `path`, or standard input for "-". Returns no descriptor, with one line in
// `error`, if it cannot be opened, is empty, or is neither a regular file nor standard input. Never
// waits for the writer of a FIFO.
[[nodiscard]] Descriptor open_photo_file(const std::string& path, std::string& error);

// For a process that reads this file and no other image: libvips then loads its additional format
// modules only if the file is HEIC or AVIF. They cost more time and memory than a small photo. Call
// it before any other function of this folder.
void load_modules_for(const Descriptor& file);

class Photo {
 public:
  // Reads the header of the open file. Null on failure, with one line in `error`: the file has an
  // unsupported format, is malformed, or is too large (more than kMaxPixels pixels, a side above
  // kMaxSide, or more than 384 MiB if the decoder has to keep all rows, as for interlaced,
  // progressive and HEIC files).
  [[nodiscard]] static std::optional<Photo> open(Descriptor file, std::string& error);

  // Pixels as stored.
  [[nodiscard]] std::uint32_t width() const;
  [[nodiscard]] std::uint32_t height() const;
  // The EXIF orientation, 1 (upright) to 8.
  [[nodiscard]] int orientation() const;

  // The area of the stored photo, before its orientation is applied, scaled to width x height
  // pixels and then rotated upright by `orientation` (5 to 8 exchange the sides). Transparency
  // becomes white. The result has 1, 3 or 4 channels (gray, RGB, CMYK, in which the largest sample
  // is full ink), 8 or 16 bits, and the embedded profile if that is for these channels. Null with
  // one line in `error` if the file is truncated or malformed. Decodes the file; a photo from a
  // pipe can be decoded once.
  [[nodiscard]] std::optional<Picture> pixels(const PixelArea& area, std::uint32_t width,
                                              std::uint32_t height, int orientation,
                                              std::string& error) const;

 private:
  struct Source;
  explicit Photo(std::shared_ptr<const Source> source) : source_(std::move(source)) {}

  std::shared_ptr<const Source> source_;
};

// The complete photo in its own size, upright, in 8-bit RGB or, if the file has them, 16 bits or
// one gray channel. For test tools; `k905-print` scales while it reads.
[[nodiscard]] std::optional<Picture> read_photo(const std::string& path, std::string& error);

}  // namespace k905
