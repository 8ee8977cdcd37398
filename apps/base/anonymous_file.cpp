#include "apps/base/anonymous_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

#include "apps/base/write_all.h"

int anonymous_file_with(const char* label, std::string_view bytes) {
  const int file = memfd_create(label, MFD_CLOEXEC);
  if (file < 0 || (write_all(file, bytes) && lseek(file, 0, SEEK_SET) == 0)) {
    return file;
  }
  const int reason = errno;
  close(file);
  errno = reason;
  return -1;
}
