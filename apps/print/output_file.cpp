#include "apps/print/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "apps/base/write_whole.h"

OutputFile::~OutputFile() {
  if (is_open()) {
    close(descriptor_);
  }
}

bool OutputFile::open(const std::string& path, bool append) {
  path_ = path;
  const int how = O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | (append ? O_APPEND : O_TRUNC);
  descriptor_ = ::open(path.c_str(), how, 0666);
  struct stat status {};
  plain_ = is_open() && fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode);
  start_ = plain_ && append ? status.st_size : 0;
  return is_open();
}

bool OutputFile::write(const void* bytes, std::size_t count) {
  return write_whole(descriptor_, {static_cast<const char*>(bytes), count});
}

bool OutputFile::keep() {
  const bool on_disk = fsync(descriptor_) == 0 || !plain_;
  const int reason = errno;
  const bool closed = close(std::exchange(descriptor_, -1)) == 0;
  if (!on_disk) {
    errno = reason;
  }
  return on_disk && closed;
}

void OutputFile::take_back() {
  if (!is_open()) {
    return;
  }
  if (plain_) {
    // Half a sheet in a file would spoil all that is written behind it.
    (void)!ftruncate(descriptor_, start_);
    if (start_ == 0) {
      unlink(path_.c_str());
    }
  }
  close(std::exchange(descriptor_, -1));
}
