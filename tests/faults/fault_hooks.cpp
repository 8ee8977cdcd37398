#include "tests/faults/fault_hooks.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace {

Faults plan;
FaultCounts counts;
bool armed = false;

// The blocks that the raster job has allocated. It has only a few at a time.
std::array<void*, 4096> allocated{};

void* remember(void* block) {
  if (armed && block != nullptr) {
    *std::find(allocated.begin(), allocated.end(), nullptr) = block;
    ++counts.still_allocated;
  }
  return block;
}

// A block that is not recorded was freed before, or was not allocated by the raster job.
void forget(void* block) {
  if (armed && block != nullptr) {
    const auto found = std::find(allocated.begin(), allocated.end(), block);
    if (found != allocated.end()) {
      *found = nullptr;
      --counts.still_allocated;
    } else {
      ++counts.invalid_frees;
    }
  }
}

bool allocation_fails() {
  if (!armed) {
    return false;
  }
  ++counts.allocations;
  return plan.failing_allocation != 0 &&
         (counts.allocations == plan.failing_allocation ||
          (plan.later_ones_too && counts.allocations > plan.failing_allocation));
}

bool interrupted_wait() {
  if (!armed) {
    return false;
  }
  ++counts.waits;
  if (!plan.delay_reads || counts.waits % 2 != 0) {
    return false;
  }
  errno = EINTR;
  return true;
}

std::size_t limited(std::size_t count, std::size_t most) {
  return most != 0 ? std::min(count, most) : count;
}

}  // namespace

void arm_faults(const Faults& faults) {
  plan = faults;
  counts = {};
  allocated.fill(nullptr);
  armed = true;
}

FaultCounts disarm_faults() {
  armed = false;
  return counts;
}

extern "C" {

void* __real_malloc(std::size_t size);
void* __real_calloc(std::size_t count, std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void* __real_aligned_alloc(std::size_t alignment, std::size_t size);
int __real_posix_memalign(void** place, std::size_t alignment, std::size_t size);
void __real_free(void* block);
ssize_t __real_read(int descriptor, void* buffer, std::size_t count);
ssize_t __real_write(int descriptor, const void* buffer, std::size_t count);
int __real_poll(pollfd* descriptors, nfds_t count, int timeout);
int __real_ppoll(pollfd* descriptors, nfds_t count, const timespec* timeout, const sigset_t* mask);

void* __wrap_malloc(std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);
void* __wrap_aligned_alloc(std::size_t alignment, std::size_t size);
int __wrap_posix_memalign(void** place, std::size_t alignment, std::size_t size);
void __wrap_free(void* block);
ssize_t __wrap_read(int descriptor, void* buffer, std::size_t count);
ssize_t __wrap_write(int descriptor, const void* buffer, std::size_t count);
int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout);
int __wrap_ppoll(pollfd* descriptors, nfds_t count, const timespec* timeout, const sigset_t* mask);

void* __wrap_malloc(std::size_t size) {
  return allocation_fails() ? nullptr : remember(__real_malloc(size));
}

void* __wrap_calloc(std::size_t count, std::size_t size) {
  return allocation_fails() ? nullptr : remember(__real_calloc(count, size));
}

void* __wrap_realloc(void* block, std::size_t size) {
  if (allocation_fails()) {
    return nullptr;
  }
  forget(block);
  return remember(__real_realloc(block, size));
}

void* __wrap_aligned_alloc(std::size_t alignment, std::size_t size) {
  return allocation_fails() ? nullptr : remember(__real_aligned_alloc(alignment, size));
}

int __wrap_posix_memalign(void** place, std::size_t alignment, std::size_t size) {
  if (allocation_fails()) {
    return ENOMEM;
  }
  const int result = __real_posix_memalign(place, alignment, size);
  if (result == 0) {
    remember(*place);
  }
  return result;
}

void __wrap_free(void* block) {
  forget(block);
  __real_free(block);
}

ssize_t __wrap_read(int descriptor, void* buffer, std::size_t count) {
  if (!armed || descriptor != STDIN_FILENO) {
    return __real_read(descriptor, buffer, count);
  }
  ++counts.reads;
  if (plan.failing_read == counts.reads) {
    errno = EIO;
    return -1;
  }
  if (plan.interrupt_reads && counts.reads % 2 == 0) {
    errno = EINTR;
    return -1;
  }
  if (plan.delay_reads && counts.reads % 3 == 0) {
    errno = EAGAIN;
    return -1;
  }
  return __real_read(descriptor, buffer, limited(count, plan.max_read));
}

ssize_t __wrap_write(int descriptor, const void* buffer, std::size_t count) {
  if (armed && descriptor == STDERR_FILENO) {
    ++counts.log_writes;
    if (counts.log_writes == plan.canceling_log_write) {
      raise(SIGTERM);
    }
    return __real_write(descriptor, buffer, limited(count, plan.max_logged));
  }
  if (!armed || descriptor != STDOUT_FILENO) {
    return __real_write(descriptor, buffer, count);
  }
  ++counts.writes;
  if (plan.faulty_write != 0 && (counts.writes == plan.faulty_write ||
                                 (plan.later_writes_too && counts.writes > plan.faulty_write))) {
    errno = plan.write_errno;
    return plan.write_result;
  }
  if (plan.interrupt_writes && counts.writes % 2 == 0) {
    errno = EINTR;
    return -1;
  }
  return __real_write(descriptor, buffer, limited(count, plan.max_written));
}

int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout) {
  return interrupted_wait() ? -1 : __real_poll(descriptors, count, timeout);
}

int __wrap_ppoll(pollfd* descriptors, nfds_t count, const timespec* timeout, const sigset_t* mask) {
  return interrupted_wait() ? -1 : __real_ppoll(descriptors, count, timeout, mask);
}

}  // extern "C"
