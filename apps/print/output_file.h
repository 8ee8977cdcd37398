// The file or device that a job's stream goes to.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>

#include "apps/base/descriptor.h"
#include "apps/print/ledger.h"

namespace k905 {

// /dev/null and similar devices, which several programs can open.
[[nodiscard]] bool is_memory_device(const struct stat& status);

// Whether `path` names the file or pipe that is standard output, as /dev/stdout does. Nothing else
// may then be written there.
[[nodiscard]] bool is_standard_output(const std::string& path);

// A regular file has the new job only after commit(); after an error or roll_back() it is
// unchanged. A device gets the bytes at once. While a device, or a file that is appended to, is
// open, it is locked against other instances of this program.
class OutputFile {
 public:
  OutputFile() = default;
  ~OutputFile() { roll_back(); }
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // A regular file is created, or appended to; a file that is standard output is always appended
  // to, because other programs write to it too. A missing file in /dev is not created: it is a
  // device that is not connected. False with the reason in `error`.
  [[nodiscard]] bool open(const std::string& path, bool append, std::string& error);
  [[nodiscard]] bool is_open() const { return static_cast<bool>(descriptor_); }

  // Whether the last open() opened a regular file, which keeps nothing of a failed job.
  [[nodiscard]] bool is_regular() const { return is_regular_; }

  // The beginning of the job in a regular file that is appended to.
  [[nodiscard]] std::optional<FilePlace> place() const;

  // False with errno set.
  [[nodiscard]] bool write(const void* bytes, std::size_t count);

  // Syncs the file to disk if it is regular, gives it its name and closes it. False with errno set
  // on failure; the file is then as after roll_back().
  [[nodiscard]] bool commit();

  // Closes the file; a regular file is as it was before open(), or removed if it did not exist.
  void roll_back();

 private:
  bool open_existing(int flags);
  bool open_new(bool append);
  bool open_temporary(const std::string& target, mode_t mode);
  bool lock();
  bool check_locked_file();

  Descriptor descriptor_;
  std::string path_;       // destination of the job, links resolved
  std::string temporary_;  // replaces path_ in commit(); empty if path_ is written directly
  bool is_regular_ = false;
  bool is_standard_output_ = false;
  bool is_new_ = false;  // path_ did not exist before
  off_t old_size_ = 0;   // size of path_ before
};

}  // namespace k905
