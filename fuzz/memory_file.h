// A named file in memory, for code that reads only files.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

class MemoryFile {
 public:
  MemoryFile(const void* bytes, std::size_t count) : descriptor_(memfd_create("fuzz", 0)) {
    if (descriptor_ < 0 || write(descriptor_, bytes, count) != static_cast<ssize_t>(count)) {
      std::abort();
    }
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  // Every open call starts at the first byte.
  [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};
