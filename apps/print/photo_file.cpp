#include "apps/print/photo_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>
#include <vector>

#include "apps/base/fnv1a.h"
#include "apps/base/write_all.h"

namespace k905 {

FileStamp stamp_of(const struct stat& status) {
  return {.inode = status.st_ino,
          .size = static_cast<std::uint64_t>(status.st_size),
          .modified_s = status.st_mtim.tv_sec,
          .modified_ns = status.st_mtim.tv_nsec,
          .changed_s = status.st_ctim.tv_sec,
          .changed_ns = status.st_ctim.tv_nsec};
}

std::optional<FileStamp> stamp_of_file(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? std::optional(stamp_of(status)) : std::nullopt;
}

bool has_same_bytes(const FileStamp& one, const FileStamp& other) {
  return one.inode == other.inode && one.size == other.size && one.modified_s == other.modified_s &&
         one.modified_ns == other.modified_ns;
}

PhotoRead PhotoFile::read(const std::string& path, std::string& error) {
  // A FIFO in the folder must not block the program.
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) {
    error = std::strerror(errno);
    return errno == ENOENT ? PhotoRead::missing : PhotoRead::failed;
  }
  if (!S_ISREG(status.st_mode)) {
    return PhotoRead::missing;
  }
  stamp_ = stamp_of(status);
  content_.size = stamp_.size;
  if (stamp_.size > kLargestPhotoFile) {
    error = "the file is too large (" + std::to_string(stamp_.size) + " bytes)";
    return PhotoRead::too_large;
  }
  if (!copy_bytes(file.get()) || fstat(file.get(), &status) != 0) {
    error = std::strerror(errno);
    return PhotoRead::failed;
  }
  if (stamp_of(status) != stamp_ || content_.size != stamp_.size) {
    error = "the file is being written to";
    return PhotoRead::changing;
  }
  return PhotoRead::complete;
}

bool PhotoFile::copy_bytes(int file) {
  copy_.reset(memfd_create("k905-print photo", MFD_CLOEXEC));
  if (!copy_) {
    return false;
  }
  content_ = {0, kFnv1aOffsetBasis};
  std::vector<char> bytes(1 << 17);
  for (;;) {
    const ssize_t got = ::read(file, bytes.data(), bytes.size());
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      return got == 0;
    }
    const std::string_view piece(bytes.data(), static_cast<std::size_t>(got));
    content_.size += piece.size();
    content_.hash = fnv1a(piece, content_.hash);
    // A file that grows while it is read is being written to.
    if (content_.size > stamp_.size) {
      return true;
    }
    if (!write_all(copy_.get(), piece)) {
      return false;
    }
  }
}

}  // namespace k905
