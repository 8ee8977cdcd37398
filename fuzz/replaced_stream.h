// Replaces descriptor 0, 1 or 2 with a file in memory, for code that uses them.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <string_view>

class ReplacedStream {
 public:
  // Opens a file with `content`, positioned at its first byte, as `descriptor`.
  explicit ReplacedStream(int descriptor, std::string_view content = {})
      : descriptor_(descriptor),
        saved_(fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)),
        file_(memfd_create("stream", MFD_CLOEXEC)) {
    if (file_ < 0 || !fill(content) || dup2(file_, descriptor_) < 0) std::abort();
  }
  ~ReplacedStream() {
    restore();
    close(file_);
    if (view_size_ > 0) munmap(view_, view_size_);
  }
  ReplacedStream(const ReplacedStream&) = delete;
  ReplacedStream& operator=(const ReplacedStream&) = delete;

  // Restores the descriptor; the file can still be read.
  void restore() {
    if (saved_ < 0) return;
    dup2(saved_, descriptor_);
    close(saved_);
    saved_ = -1;
  }

  // The content of the file, valid as long as the object. To be called once.
  [[nodiscard]] std::string_view content() {
    view_size_ = static_cast<std::size_t>(lseek(file_, 0, SEEK_END));
    if (view_size_ == 0) return {};
    view_ = mmap(nullptr, view_size_, PROT_READ, MAP_PRIVATE, file_, 0);
    if (view_ == MAP_FAILED) std::abort();
    return {static_cast<const char*>(view_), view_size_};
  }

 private:
  [[nodiscard]] bool fill(std::string_view content) const {
    return write(file_, content.data(), content.size()) == static_cast<ssize_t>(content.size()) &&
           lseek(file_, 0, SEEK_SET) == 0;
  }

  int descriptor_;
  int saved_;
  int file_;
  void* view_ = nullptr;
  std::size_t view_size_ = 0;
};
