// The file or device that a job's stream goes to.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

class OutputFile {
 public:
  OutputFile() = default;
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // A plain file is made anew, or written on behind what is there. False with errno set.
  [[nodiscard]] bool open(const std::string& path, bool append);
  [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }

  // False with errno set.
  [[nodiscard]] bool write(const void* bytes, std::size_t count);

  // To the disk, as far as it is one, and closed. False with errno set when it could not be kept.
  [[nodiscard]] bool keep();

  // Closed; a plain file is as it was before open(), or gone when it was not there.
  void take_back();

 private:
  int descriptor_ = -1;
  std::string path_;
  bool plain_ = false;
  off_t start_ = 0;
};
