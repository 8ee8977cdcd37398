#include "apps/base/descriptor.h"

#include <fcntl.h>

namespace k905 {

bool Pipe::open() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) {
    return false;
  }
  read_end.reset(ends[0]);
  write_end.reset(ends[1]);
  return true;
}

}  // namespace k905
