#include "diag/plain_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// A regular file without other hard links: another name could belong to a file worth keeping.
bool is_ordinary_file(int file) {
  struct stat status;
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1;
}

}  // namespace

int open_plain_file(int folder, const char* path) {
  // Without O_NONBLOCK opening a FIFO would wait for a reader indefinitely; it has no effect on a
  // regular file. The file is truncated only after it is known to be regular.
  const int file =
      openat(folder, path, O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666);
  if (file >= 0 && (!is_ordinary_file(file) || ftruncate(file, 0) != 0)) {
    close(file);
    return -1;
  }
  return file;
}
