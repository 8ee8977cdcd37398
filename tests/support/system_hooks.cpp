#include "tests/support/system_hooks.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace hooks {

Script write_script;
Script read_script;
std::deque<int> poll_errors;
std::vector<int> poll_timeouts;
bool malloc_fails = false;
std::vector<std::size_t> synced_after;
std::vector<std::size_t> writes_to_output;

namespace {
std::size_t bytes_accepted = 0;
}  // namespace

void reset() {
  write_script = {};
  read_script = {};
  poll_errors.clear();
  poll_timeouts.clear();
  malloc_fails = false;
  synced_after.clear();
  writes_to_output.clear();
  bytes_accepted = 0;
}

namespace {

// The scripted result of a call for `count` bytes: -1 with errno, or the number of bytes to
// request.
ssize_t next_step(Script& script, int descriptor, std::size_t count) {
  if (descriptor != script.descriptor || script.steps.empty()) {
    return static_cast<ssize_t>(count);
  }
  const Step step = script.steps.front();
  script.steps.pop_front();
  if (step.error != 0) {
    errno = step.error;
    return -1;
  }
  return static_cast<ssize_t>(std::min(count, step.at_most));
}

}  // namespace
}  // namespace hooks

extern "C" {

void* __real_malloc(std::size_t size);
ssize_t __real_write(int descriptor, const void* bytes, std::size_t count);
ssize_t __real_read(int descriptor, void* bytes, std::size_t count);
int __real_poll(pollfd* descriptors, nfds_t count, int timeout_ms);
int __real_fsync(int descriptor);

void* __wrap_malloc(std::size_t size) {
  return hooks::malloc_fails ? nullptr : __real_malloc(size);
}

ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t count) {
  if (descriptor == STDOUT_FILENO) {
    hooks::writes_to_output.push_back(count);
  }
  const ssize_t allowed = hooks::next_step(hooks::write_script, descriptor, count);
  if (allowed <= 0 && count > 0) {
    return allowed;
  }
  const ssize_t written = __real_write(descriptor, bytes, static_cast<std::size_t>(allowed));
  if (descriptor == STDOUT_FILENO && written > 0) {
    hooks::bytes_accepted += static_cast<std::size_t>(written);
  }
  return written;
}

ssize_t __wrap_read(int descriptor, void* bytes, std::size_t count) {
  const ssize_t allowed = hooks::next_step(hooks::read_script, descriptor, count);
  return allowed < 0 ? -1 : __real_read(descriptor, bytes, static_cast<std::size_t>(allowed));
}

int __wrap_poll(pollfd* descriptors, nfds_t count, int timeout_ms) {
  // The fake printer waits for two descriptors in its own thread; not affected.
  if (count != 1) {
    return __real_poll(descriptors, count, timeout_ms);
  }
  hooks::poll_timeouts.push_back(timeout_ms);
  if (!hooks::poll_errors.empty()) {
    errno = hooks::poll_errors.front();
    hooks::poll_errors.pop_front();
    return -1;
  }
  return __real_poll(descriptors, count, timeout_ms);
}

int __wrap_fsync(int descriptor) {
  if (descriptor == STDOUT_FILENO) {
    hooks::synced_after.push_back(hooks::bytes_accepted);
  }
  return __real_fsync(descriptor);
}

}  // extern "C"
