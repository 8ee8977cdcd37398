#include "apps/print/output_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <thread>

#include "apps/base/write_all.h"

namespace k905 {

namespace {

namespace fs = std::filesystem;

// The folder of `path` with all links followed; empty with errno set when there is none.
std::string folder_of(const std::string& path) {
  std::error_code error;
  const fs::path folder = fs::canonical(fs::absolute(path).parent_path(), error);
  errno = error.value();
  return error ? "" : folder.string();
}

bool is_under_dev(const std::string& folder) {
  return folder == "/dev" || folder.starts_with("/dev/");
}

mode_t usual_mode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

bool sync_folder(const std::string& path) {
  const Descriptor folder(open(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return folder && (fsync(folder.get()) == 0 || errno == EINVAL);
}

}  // namespace

bool is_memory_device(const struct stat& status) {
  constexpr unsigned kMemoryDevices = 1;
  return S_ISCHR(status.st_mode) && major(status.st_rdev) == kMemoryDevices;
}

bool is_standard_output(const std::string& path) {
  struct stat named = {};
  struct stat output = {};
  return stat(path.c_str(), &named) == 0 && fstat(STDOUT_FILENO, &output) == 0 &&
         named.st_dev == output.st_dev && named.st_ino == output.st_ino && !S_ISCHR(output.st_mode);
}

bool OutputFile::open(const std::string& path, bool append, std::string& error) {
  path_ = path;
  is_standard_output_ = is_standard_output(path);
  append = append || is_standard_output_;
  temporary_.clear();
  is_new_ = false;
  old_size_ = 0;
  const int flags = O_WRONLY | O_CLOEXEC | O_NOCTTY | (append ? O_APPEND : 0);
  const bool opened = open_existing(flags) || (errno == ENOENT && open_new(append));
  if (opened && (!temporary_.empty() || lock())) {
    return true;
  }
  error =
      path + ": " +
      (opened && errno == EWOULDBLOCK ? "another program is printing to it" : std::strerror(errno));
  if (!temporary_.empty()) {
    unlink(temporary_.c_str());
  }
  descriptor_.reset();
  return false;
}

// False with errno set.
bool OutputFile::open_existing(int flags) {
  descriptor_.reset(::open(path_.c_str(), flags));
  if (!descriptor_ && is_standard_output_) {
    // A socket, or a file that this user cannot open.
    descriptor_.reset(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
    (void)lseek(descriptor_.get(), 0, SEEK_END);
  }
  struct stat status = {};
  if (!descriptor_ || fstat(descriptor_.get(), &status) != 0) {
    return false;
  }
  is_regular_ = S_ISREG(status.st_mode);
  old_size_ = status.st_size;
  if (!is_regular_ || (flags & O_APPEND) != 0) {
    return true;
  }
  std::error_code error;
  const fs::path target = fs::canonical(path_, error);
  errno = error.value();
  if (error || !open_temporary(target.string(), status.st_mode & 07777)) {
    return false;
  }
  // Keeps the owner if root runs this program. Other users cannot change it: the new file is
  // theirs.
  (void)!fchown(descriptor_.get(), status.st_uid, status.st_gid);
  return true;
}

// False with errno set. A dangling link is assumed to name a device that is not connected.
bool OutputFile::open_new(bool append) {
  std::error_code ignored;
  const std::string folder = folder_of(path_);
  if (folder.empty() || is_under_dev(folder) || fs::is_symlink(path_, ignored)) {
    errno = ENOENT;
    return false;
  }
  is_regular_ = true;
  if (!append) {
    return open_temporary(path_, usual_mode());
  }
  descriptor_.reset(
      ::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0666));
  is_new_ = is_open();
  return is_new_;
}

// False with errno set.
bool OutputFile::open_temporary(const std::string& target, mode_t mode) {
  std::string name = target + ".XXXXXX";
  descriptor_.reset(mkostemp(name.data(), O_CLOEXEC));
  if (!descriptor_) {
    return false;
  }
  path_ = target;
  temporary_ = name;
  return fchmod(descriptor_.get(), mode) == 0;
}

// Waits a moment, because the other program may be about to end. False with errno set; files that
// cannot be locked are used without a lock.
bool OutputFile::lock() {
  struct stat status = {};
  if (fstat(descriptor_.get(), &status) == 0 && is_memory_device(status)) {
    return true;
  }
  constexpr int kTries = 30;
  for (int i = 0; i < kTries; ++i) {
    if (flock(descriptor_.get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) {
      return !is_regular_ || check_locked_file();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  errno = EWOULDBLOCK;
  return false;
}

// The caller has the lock. False with errno set if another program removed or replaced the file.
bool OutputFile::check_locked_file() {
  struct stat mine = {};
  struct stat named = {};
  const bool is_same_file = fstat(descriptor_.get(), &mine) == 0 &&
                            stat(path_.c_str(), &named) == 0 && mine.st_ino == named.st_ino &&
                            mine.st_dev == named.st_dev;
  old_size_ = mine.st_size;
  errno = EWOULDBLOCK;
  return is_same_file;
}

std::optional<FilePlace> OutputFile::place() const {
  struct stat status = {};
  if (!is_regular_ || !temporary_.empty() || fstat(descriptor_.get(), &status) != 0) {
    return std::nullopt;
  }
  return FilePlace{status.st_dev, status.st_ino, status.st_size};
}

bool OutputFile::write(const void* bytes, std::size_t count) {
  return write_all(descriptor_.get(), {static_cast<const char*>(bytes), count});
}

bool OutputFile::commit() {
  const bool on_disk = fsync(descriptor_.get()) == 0 || !is_regular_;
  const bool in_place =
      on_disk && (temporary_.empty() || std::rename(temporary_.c_str(), path_.c_str()) == 0);
  if (!in_place) {
    const int reason = errno;
    roll_back();
    errno = reason;
    return false;
  }
  if (is_standard_output_ && is_regular_) {
    // The next program that writes to this standard output continues after the job.
    (void)lseek(STDOUT_FILENO, 0, SEEK_END);
  }
  const bool closed = ::close(descriptor_.release()) == 0;
  // If a folder cannot be synced, the name may be lost in a crash of the system.
  const bool named = (temporary_.empty() && !is_new_) || sync_folder(path_);
  return closed && named;
}

void OutputFile::roll_back() {
  if (!is_open()) {
    return;
  }
  if (!temporary_.empty()) {
    unlink(temporary_.c_str());
  } else if (is_new_) {
    unlink(path_.c_str());
  } else if (is_regular_) {
    // An incomplete sheet in a file would make everything after it unreadable.
    (void)!ftruncate(descriptor_.get(), old_size_);
    (void)lseek(descriptor_.get(), old_size_, SEEK_SET);
  }
  descriptor_.reset();
}

}  // namespace k905
