// Preloaded into k905-print by a test (LD_PRELOAD): just before the program first opens the file
// K905_OPENED, the file K905_NEXT replaces it, as if a user replaced a photo at that moment.
#include <dlfcn.h>
#include <fcntl.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

void change(const char* path) {
  const char* opened = std::getenv("K905_OPENED");
  const char* next = std::getenv("K905_NEXT");
  if (opened != nullptr && next != nullptr && std::strcmp(path, opened) == 0) {
    (void)std::rename(next, opened);
  }
}

using Open = int(const char*, int, ...);
using OpenStream = std::FILE*(const char*, const char*);

template <typename Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int open_changed(Open* next, const char* path, int flags, std::va_list more) {
  change(path);
  return (flags & (O_CREAT | O_TMPFILE)) != 0 ? next(path, flags, va_arg(more, mode_t))
                                              : next(path, flags);
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) int open(const char* path, int flags, ...) {
  std::va_list more;
  va_start(more, flags);
  const int file = open_changed(real<Open>("open"), path, flags, more);
  va_end(more);
  return file;
}

__attribute__((visibility("default"))) int open64(const char* path, int flags, ...) {
  std::va_list more;
  va_start(more, flags);
  const int file = open_changed(real<Open>("open64"), path, flags, more);
  va_end(more);
  return file;
}

__attribute__((visibility("default"))) std::FILE* fopen(const char* path, const char* mode) {
  change(path);
  return real<OpenStream>("fopen")(path, mode);
}

}  // extern "C"
