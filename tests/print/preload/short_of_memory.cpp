// Makes requests for megabytes fail in every thread except the first (LD_PRELOAD), beginning with
// the request number K905_FAIL_FROM, counted from 1.
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

extern "C" void* __libc_malloc(std::size_t size);

namespace {

constexpr std::size_t kLarge = std::size_t{2} << 20;

std::atomic<long> large_requests = 0;

bool fails() {
  const char* from = std::getenv("K905_FAIL_FROM");
  return from != nullptr && gettid() != getpid() &&
         ++large_requests >= std::strtol(from, nullptr, 10);
}

}  // namespace

extern "C" void* malloc(std::size_t size) {
  if (size >= kLarge && fails()) {
    errno = ENOMEM;
    return nullptr;
  }
  return __libc_malloc(size);
}
