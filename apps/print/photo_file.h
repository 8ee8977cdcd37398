// Reads the bytes of a photo once, so that the bytes that are hashed are those that are printed,
// even if the file changes.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "apps/base/descriptor.h"
#include "apps/print/ledger.h"

namespace k905 {

[[nodiscard]] FileStamp stamp_of(const struct stat& status);
// Null with errno set if there is no such file.
[[nodiscard]] std::optional<FileStamp> stamp_of_file(const std::string& path);
// Whether the stamps differ at most in the time that a rename or a change of permissions sets.
[[nodiscard]] bool has_same_bytes(const FileStamp& one, const FileStamp& other);

enum class PhotoRead {
  complete,
  missing,    // no such file, or not a regular one
  changing,   // it was written to while it was read
  too_large,  // above kLargestPhotoFile
  failed      // the system cannot read it now
};

inline constexpr std::uint64_t kLargestPhotoFile = std::uint64_t{512} << 20;

class PhotoFile {
 public:
  // `error` is set unless the result is complete or missing. After too_large `content` has only the
  // size.
  [[nodiscard]] PhotoRead read(const std::string& path, std::string& error);

  [[nodiscard]] const FileStamp& stamp() const { return stamp_; }
  [[nodiscard]] const Content& content() const { return content_; }
  // A file with these bytes; it exists as long as this object.
  [[nodiscard]] std::string copy() const { return "/dev/fd/" + std::to_string(copy_.get()); }

 private:
  [[nodiscard]] bool copy_bytes(int file);

  FileStamp stamp_;
  Content content_;
  Descriptor copy_;
};

}  // namespace k905
