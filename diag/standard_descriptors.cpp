#include "diag/standard_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

void reserve_standard_descriptors() {
  // Input and output are opened in the wrong direction, so that reading and writing fail.
  constexpr int kDirection[] = {O_WRONLY, O_RDONLY, O_WRONLY};
  for (int descriptor = 0; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) < 0 && errno == EBADF) {
      (void)open("/dev/null", kDirection[descriptor]);  // takes the lowest free number
    }
  }
}
