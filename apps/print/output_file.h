// The file or device that a job's stream goes to.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>

#include "apps/base/descriptor.h"
#include "apps/print/ledger.h"

// A plain file has the new job only after keep(): what fails or is abandoned leaves it as it was. A
// device gets the bytes at once. While a device or a file that is appended to is open, it is
// locked against other programs like this one.
class OutputFile {
 public:
  OutputFile() = default;
  ~OutputFile() { take_back(); }
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // A regular file is created, or appended to. A missing file in /dev is not
  // made: it is a device that is not there. False with the reason in `error`.
  [[nodiscard]] bool open(const std::string& path, bool append, std::string& error);
  [[nodiscard]] bool is_open() const { return static_cast<bool>(descriptor_); }

  // Where the job begins, in a plain file that is appended to.
  [[nodiscard]] std::optional<FilePlace> place() const;

  // False with errno set.
  [[nodiscard]] bool write(const void* bytes, std::size_t count);

  // To the disk, as far as it is one, under its name, and closed. False with errno set when it
  // could not be kept; the file is then as after take_back().
  [[nodiscard]] bool keep();

  // Closed; a plain file is as it was before open(), or gone when it was not there.
  void take_back();

 private:
  bool open_existing(int how);
  bool open_new(bool append);
  bool open_beside(const std::string& target, mode_t mode);
  bool lock();
  bool look_at_locked_file();

  k905::Descriptor descriptor_;
  std::string path_;    // where the job is wanted, links followed
  std::string beside_;  // the file that takes the place of path_ when it is kept; "": path_ itself
  bool plain_ = false;
  bool made_ = false;  // path_ was not there before
  off_t start_ = 0;    // size of path_ before
};
