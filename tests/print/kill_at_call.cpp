// Preloaded into k905-print by a test (LD_PRELOAD): kills the program with SIGKILL just before its
// n-th call that has an effect outside the process. The test can thus interrupt the program between
// any two such calls, independently of timing.
//
//  K905_KILL_AT=N        the number of the call; unset: none
//  K905_CALLS_FILE=PATH  receives the number of calls when the program ends normally
#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

std::atomic<long> calls = 0;
long kill_at = 0;
pid_t watched = 0;

// Has no effect in programs that k905-print starts, or in a child before its exec.
__attribute__((constructor)) void begin() {
  if (std::strcmp(program_invocation_short_name, "k905-print") == 0) {
    watched = getpid();
    const char* text = std::getenv("K905_KILL_AT");
    kill_at = text == nullptr ? 0 : std::strtol(text, nullptr, 10);
  }
}

__attribute__((destructor)) void end() {
  const char* path = std::getenv("K905_CALLS_FILE");
  std::FILE* file = path == nullptr || watched != getpid() ? nullptr : std::fopen(path, "w");
  if (file != nullptr) {
    std::fprintf(file, "%ld\n", calls.load());
    std::fclose(file);
  }
}

void count() {
  if (watched == getpid() && ++calls == kill_at) {
    (void)kill(watched, SIGKILL);
    (void)pause();
  }
}

// Data written to the filter is lost together with the filter, so it is not counted.
bool is_pipe(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 && S_ISFIFO(status.st_mode);
}

template <typename Function>
Function* real(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

#define PASS_ON(result, name, parameters, ...)                    \
  __attribute__((visibility("default"))) result name parameters { \
    count();                                                      \
    static auto* const next = real<result parameters>(#name);     \
    return next(__VA_ARGS__);                                     \
  }

__attribute__((visibility("default"))) ssize_t write(int file, const void* bytes, size_t size) {
  if (!is_pipe(file)) {
    count();
  }
  static auto* const next = real<ssize_t(int, const void*, size_t)>("write");
  return next(file, bytes, size);
}

PASS_ON(ssize_t, pwrite, (int file, const void* bytes, size_t size, off_t at), file, bytes, size,
        at)
PASS_ON(ssize_t, pwrite64, (int file, const void* bytes, size_t size, off64_t at), file, bytes,
        size, at)
PASS_ON(ssize_t, writev, (int file, const iovec* parts, int count_of), file, parts, count_of)
PASS_ON(ssize_t, send, (int file, const void* bytes, size_t size, int flags), file, bytes, size,
        flags)
PASS_ON(int, fsync, (int file), file)
PASS_ON(int, fdatasync, (int file), file)
PASS_ON(int, ftruncate, (int file, off_t size), file, size)
PASS_ON(int, ftruncate64, (int file, off64_t size), file, size)
PASS_ON(int, unlink, (const char* path), path)
PASS_ON(int, rename, (const char* from, const char* to), from, to)
PASS_ON(int, renameat2,
        (int from_folder, const char* from, int to_folder, const char* to, unsigned flags),
        from_folder, from, to_folder, to, flags)
PASS_ON(int, mkdir, (const char* path, mode_t mode), path, mode)
PASS_ON(int, connect, (int file, const sockaddr* address, socklen_t size), file, address, size)
PASS_ON(int, flock, (int file, int operation), file, operation)

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
