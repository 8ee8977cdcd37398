#include "apps/print/finished_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "apps/base/descriptor.h"
#include "apps/base/text.h"
#include "apps/base/write_all.h"
#include "apps/print/photo_file.h"

namespace k905 {

namespace {

// Moves to the first free name; "" with errno set on failure.
std::string move_to_free_name(const std::string& from, const std::string& folder,
                              const std::string& name) {
  constexpr std::size_t max_number = 10000;
  for (std::size_t number = 1; number <= max_number; ++number) {
    std::string to = folder + "/" + numbered_name(name, number);
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
      return to;
    }
    // For file systems that do not support RENAME_NOREPLACE.
    if (errno == EINVAL && access(to.c_str(), F_OK) != 0 &&
        std::rename(from.c_str(), to.c_str()) == 0) {
      return to;
    }
    if (errno != EEXIST && errno != EINVAL) {
      return "";
    }
  }
  return "";
}

bool is_same_file(const std::string& path, const FileStamp& stamp) {
  const auto now = stamp_of_file(path);
  return now && has_same_bytes(*now, stamp);
}

bool write_reason(const std::string& path, const std::string& reason) {
  Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  return file && write_all(file.get(), reason + "\n") && close(file.release()) == 0;
}

}  // namespace

bool move_finished_file(const std::string& folder, const std::string& name, const FileStamp& stamp,
                        const std::string& into, const std::string& reason, std::string& error) {
  const std::string from = folder + "/" + name;
  const std::string target = folder + "/" + into;
  if (!is_same_file(from, stamp)) {
    return true;
  }
  if (mkdir(target.c_str(), 0777) != 0 && errno != EEXIST) {
    error = target + ": " + std::strerror(errno);
    return false;
  }
  const std::string moved = move_to_free_name(from, target, name);
  if (moved.empty()) {
    error = from + ": cannot be moved to " + target + ": " + std::strerror(errno);
    return false;
  }
  if (!is_same_file(moved, stamp)) {
    // Another photo, which is not printed yet, has taken the name.
    if (move_to_free_name(moved, folder, name).empty()) {
      error = moved + ": is not printed and cannot be moved back: " + std::strerror(errno);
      return false;
    }
    return true;
  }
  if (!reason.empty() && !write_reason(moved + ".txt", reason)) {
    error = moved + ".txt: " + std::strerror(errno);
    return false;
  }
  return true;
}

}  // namespace k905
