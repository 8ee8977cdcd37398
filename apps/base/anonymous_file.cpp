#include "apps/base/anonymous_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

#include "apps/base/write_whole.h"

namespace {

// Without memfd_create: a file in a folder, unlinked at once.
int open_unlinked(const char* label) {
  const char* folder = std::getenv("TMPDIR");
  std::string path = folder != nullptr && *folder != '\0' ? folder : "/tmp";
  path.append("/").append(label).append(".XXXXXX");
  const int file = mkstemp(path.data());
  if (file >= 0) {
    unlink(path.c_str());
    fcntl(file, F_SETFD, FD_CLOEXEC);
  }
  return file;
}

}  // namespace

int anonymous_file(const char* label) {
#ifdef __linux__
  const int memory = memfd_create(label, MFD_CLOEXEC);
  if (memory >= 0) {
    return memory;
  }
#endif
  return open_unlinked(label);
}

int anonymous_file_with(const char* label, std::string_view bytes) {
  const int file = anonymous_file(label);
  if (file < 0 || (write_whole(file, bytes) && lseek(file, 0, SEEK_SET) == 0)) {
    return file;
  }
  const int reason = errno;
  close(file);
  errno = reason;
  return -1;
}
