// Preloaded library (LD_PRELOAD) that makes one call to the C library fail in a built program.
//
// K905_FAULT selects the call: "read 3 5" makes the third read() return -1 with errno 5, "memory 7
// 12" the seventh memory allocation; "read 3 5 on" that call and all later ones. A write() is named
// "print" on standard output, "log" on standard error and "write" on other descriptors. Calls are
// counted while main() runs, including those of libraries. K905_FAULT_REPORT names the report file:
// "failed read 0 /usr/bin/x" for every call that was made to fail, with its descriptor (-1 if it
// has none) and the caller, and the counts, such as "read 17", when main() returns.
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// The headers of the C library redefine these names for large files and checked arguments.
#undef open
#undef read
#undef poll

namespace {

struct Counted {
  const char* name;
  long calls;
};

enum Function {
  kMemory,
  kOpen,
  kFopen,
  kRead,
  kFread,
  kPrint,
  kLog,
  kWrite,
  kPoll,
  kFsync,
  kStat,
  kAccess,
  kMkdir,
  kDup2,
  kFtruncate,
  kFcntl,
  kClose,
  kFunctions
};

std::array<Counted, kFunctions> counted{{{"memory", 0},
                                         {"open", 0},
                                         {"fopen", 0},
                                         {"read", 0},
                                         {"fread", 0},
                                         {"print", 0},
                                         {"log", 0},
                                         {"write", 0},
                                         {"poll", 0},
                                         {"fsync", 0},
                                         {"stat", 0},
                                         {"access", 0},
                                         {"mkdir", 0},
                                         {"dup2", 0},
                                         {"ftruncate", 0},
                                         {"fcntl", 0},
                                         {"close", 0}}};

bool armed = false;
Function planned = kFunctions;
long planned_number = 0;
int planned_error = 0;
bool and_later = false;

// The next definition of the function after this library.
template <typename Type>
Type* real(const char* name) {
  return reinterpret_cast<Type*>(dlsym(RTLD_NEXT, name));
}

// Appends a line to the report. Does not call the functions that are intercepted here.
void report(const char* line, std::size_t length) {
  const char* path = std::getenv("K905_FAULT_REPORT");
  if (path != nullptr) {
    const auto file = static_cast<int>(
        syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    syscall(SYS_write, file, line, length);
    syscall(SYS_close, file);
  }
}

void report_failure(const char* name, int descriptor, const void* caller) {
  Dl_info module{};
  const bool known = dladdr(caller, &module) != 0 && module.dli_fname != nullptr;
  std::array<char, 512> line{};
  const int length = std::snprintf(line.data(), line.size(), "failed %s %d %s\n", name, descriptor,
                                   known ? module.dli_fname : "?");
  report(line.data(), static_cast<std::size_t>(length));
}

// Counts a call; returns true, with errno set, if it must fail.
bool counted_failure(Function function, int descriptor, const void* caller) {
  if (!armed) {
    return false;
  }
  Counted& count = counted[function];
  ++count.calls;
  const bool chosen = function == planned && (count.calls == planned_number ||
                                              (and_later && count.calls > planned_number));
  if (chosen) {
    report_failure(count.name, descriptor, caller);
    errno = planned_error;
  }
  return chosen;
}

// The same for a replacement of a C library function: the reported caller is the caller of the
// replacement.
[[gnu::always_inline]] inline bool fails(Function function, int descriptor = -1) {
  return counted_failure(function, descriptor, __builtin_return_address(0));
}

void read_plan() {
  const char* text = std::getenv("K905_FAULT");
  if (text == nullptr) {
    return;
  }
  const std::size_t length = std::strcspn(text, " ");
  for (int i = 0; i < kFunctions; ++i) {
    const char* name = counted[static_cast<std::size_t>(i)].name;
    if (std::strlen(name) == length && std::strncmp(name, text, length) == 0) {
      planned = static_cast<Function>(i);
    }
  }
  char* rest = nullptr;
  planned_number = std::strtol(text + length, &rest, 10);
  planned_error = static_cast<int>(std::strtol(rest, &rest, 10));
  and_later = std::strcmp(rest, " on") == 0;
}

void report_counts() {
  for (const Counted& count : counted) {
    std::array<char, 64> line{};
    const int length = std::snprintf(line.data(), line.size(), "%s %ld\n", count.name, count.calls);
    report(line.data(), static_cast<std::size_t>(length));
  }
}

using Main = int(int, char**, char**);
Main* program_main = nullptr;

int counting_main(int argc, char** argv, char** environment) {
  read_plan();
  armed = true;
  const int status = program_main(argc, argv, environment);
  armed = false;
  report_counts();
  return status;
}

int mode_of(int flags, va_list arguments) {
  return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, int) : 0;
}

[[gnu::always_inline]] inline int opened(int folder, const char* path, int flags, int mode) {
  return fails(kOpen) ? -1 : static_cast<int>(syscall(SYS_openat, folder, path, flags, mode));
}

}  // namespace

extern "C" {

// Counting starts at main(), so that the initialization of libraries is not counted.
int __libc_start_main(Main* main, int argc, char** argv, void (*init)(), void (*fini)(),
                      void (*loader_fini)(), void* stack_end) {
  program_main = main;
  return real<int(Main*, int, char**, void (*)(), void (*)(), void (*)(), void*)>(
      "__libc_start_main")(counting_main, argc, argv, init, fini, loader_fini, stack_end);
}

// A sanitizer replaces the allocation functions itself.
#ifndef K905_SANITIZED
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size) { return fails(kMemory) ? nullptr : __libc_malloc(size); }

void* calloc(std::size_t count, std::size_t size) {
  return fails(kMemory) ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) {
  return fails(kMemory) ? nullptr : __libc_realloc(block, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
  return fails(kMemory) ? nullptr : __libc_memalign(alignment, size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return fails(kMemory) ? nullptr : __libc_memalign(alignment, size);
}

int posix_memalign(void** place, std::size_t alignment, std::size_t size) {
  if (fails(kMemory)) {
    return ENOMEM;
  }
  *place = __libc_memalign(alignment, size);
  return *place != nullptr ? 0 : ENOMEM;
}
#endif

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int mode = mode_of(flags, arguments);
  va_end(arguments);
  return opened(AT_FDCWD, path, flags, mode);
}

int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int mode = mode_of(flags, arguments);
  va_end(arguments);
  return opened(AT_FDCWD, path, flags, mode);
}

int openat(int folder, const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int mode = mode_of(flags, arguments);
  va_end(arguments);
  return opened(folder, path, flags, mode);
}

int __open_2(const char* path, int flags) { return opened(AT_FDCWD, path, flags, 0); }

int __open64_2(const char* path, int flags) { return opened(AT_FDCWD, path, flags, 0); }

FILE* fopen(const char* path, const char* mode) {
  return fails(kFopen) ? nullptr : real<FILE*(const char*, const char*)>("fopen")(path, mode);
}

FILE* fopen64(const char* path, const char* mode) {
  return fails(kFopen) ? nullptr : real<FILE*(const char*, const char*)>("fopen64")(path, mode);
}

std::size_t fread(void* buffer, std::size_t size, std::size_t count, FILE* file) {
  return fails(kFread) ? 0
                       : real<std::size_t(void*, std::size_t, std::size_t, FILE*)>("fread")(
                             buffer, size, count, file);
}

ssize_t read(int descriptor, void* buffer, std::size_t count) {
  return fails(kRead, descriptor)
             ? -1
             : real<ssize_t(int, void*, std::size_t)>("read")(descriptor, buffer, count);
}

ssize_t __read_chk(int descriptor, void* buffer, std::size_t count, std::size_t size) {
  return fails(kRead, descriptor) ? -1
                                  : real<ssize_t(int, void*, std::size_t, std::size_t)>(
                                        "__read_chk")(descriptor, buffer, count, size);
}

ssize_t write(int descriptor, const void* buffer, std::size_t count) {
  const Function kind = descriptor == STDOUT_FILENO   ? kPrint
                        : descriptor == STDERR_FILENO ? kLog
                                                      : kWrite;
  return fails(kind, descriptor)
             ? -1
             : real<ssize_t(int, const void*, std::size_t)>("write")(descriptor, buffer, count);
}

int poll(pollfd* watched, nfds_t count, int timeout) {
  return fails(kPoll) ? -1 : real<int(pollfd*, nfds_t, int)>("poll")(watched, count, timeout);
}

int ppoll(pollfd* watched, nfds_t count, const timespec* timeout, const sigset_t* mask) {
  return fails(kPoll) ? -1
                      : real<int(pollfd*, nfds_t, const timespec*, const sigset_t*)>("ppoll")(
                            watched, count, timeout, mask);
}

int fsync(int descriptor) {
  return fails(kFsync, descriptor) ? -1 : real<int(int)>("fsync")(descriptor);
}

int stat(const char* path, struct stat* status) {
  return fails(kStat) ? -1 : real<int(const char*, struct stat*)>("stat")(path, status);
}

int lstat(const char* path, struct stat* status) {
  return fails(kStat) ? -1 : real<int(const char*, struct stat*)>("lstat")(path, status);
}

int fstat(int descriptor, struct stat* status) {
  return fails(kStat, descriptor) ? -1 : real<int(int, struct stat*)>("fstat")(descriptor, status);
}

int access(const char* path, int mode) {
  return fails(kAccess) ? -1 : real<int(const char*, int)>("access")(path, mode);
}

int mkdir(const char* path, mode_t mode) {
  return fails(kMkdir) ? -1 : real<int(const char*, mode_t)>("mkdir")(path, mode);
}

int dup2(int from, int to) {
  return fails(kDup2, from) ? -1 : real<int(int, int)>("dup2")(from, to);
}

int ftruncate(int descriptor, off_t length) {
  return fails(kFtruncate, descriptor) ? -1
                                       : real<int(int, off_t)>("ftruncate")(descriptor, length);
}

int fcntl(int descriptor, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  const long argument = va_arg(arguments, long);
  va_end(arguments);
  return fails(kFcntl, descriptor)
             ? -1
             : real<int(int, int, long)>("fcntl")(descriptor, command, argument);
}

// Closes the descriptor also when it fails, as Linux does.
int close(int descriptor) {
  const bool failing = fails(kClose, descriptor);
  const int error = errno;
  const int result = real<int(int)>("close")(descriptor);
  if (failing) {
    errno = error;
    return -1;
  }
  return result;
}

}  // extern "C"
