#include "protocol/transport.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "diag/log.h"
#include "protocol/command_block.h"

namespace {

enum class Wait { kReadable, kTimeout, kFailed };

// The wait restarts after a signal: the time limit is for one wait, not for the exchange.
Wait wait_for_reply(int descriptor, int timeout_ms) {
  pollfd printer{.fd = descriptor, .events = POLLIN, .revents = 0};
  for (;;) {
    const int ready = poll(&printer, 1, timeout_ms);
    if (ready > 0) {
      return Wait::kReadable;
    }
    if (ready == 0) {
      return Wait::kTimeout;
    }
    if (errno != EINTR) {
      return Wait::kFailed;
    }
  }
}

// Another process that shares standard output can make it non-blocking during a job. The device of
// the status query is non-blocking on purpose: there a full buffer is an error.
bool waits_for_room(int descriptor, int error) {
  return error == EAGAIN && descriptor == STDOUT_FILENO;
}

void wait_until_writable(int descriptor) {
  pollfd printer{.fd = descriptor, .events = POLLOUT, .revents = 0};
  poll(&printer, 1, -1);
}

bool is_line_end(char c) { return c == '\r' || c == '\n'; }

// Reads at most `capacity` bytes of one reply. Returns their number or -1.
//
// Deliberate: only the last byte of a read is checked. The printer sends a reply in one piece; a CR
// that arrives alone ends it, and its LF is then the first byte of the next reply.
std::int64_t read_reply(int descriptor, char* reply, std::size_t capacity, int timeout_ms) {
  std::size_t done = 0;
  while (done < capacity) {
    const Wait wait = wait_for_reply(descriptor, timeout_ms);
    if (wait == Wait::kFailed) {
      return -1;
    }
    if (wait == Wait::kTimeout) {
      break;
    }
    const ssize_t got = read(descriptor, reply + done, capacity - done);
    if (got < 0) {
      if (errno == EINTR) {
        continue;
      }
      return -1;
    }
    if (got == 0) {
      break;
    }
    done += static_cast<std::size_t>(got);
    if (is_line_end(reply[done - 1])) {
      break;
    }
  }
  return static_cast<std::int64_t>(done);
}

// Removes CR, LF and blanks at the end and blanks at the start. Tabs can be part of an answer.
void trim_reply(char* text) {
  std::size_t length = std::strlen(text);
  while (length > 0 && (is_line_end(text[length - 1]) || text[length - 1] == ' ')) {
    --length;
  }
  text[length] = '\0';
  const std::size_t blanks = std::strspn(text, " ");
  std::memmove(text, text + blanks, length - blanks + 1);
}

}  // namespace

std::int64_t k905_write_all(int descriptor, const void* buffer, std::size_t length) {
  const char* bytes = static_cast<const char*>(buffer);
  std::size_t done = 0;
  while (done < length) {
    const ssize_t written = write(descriptor, bytes + done, length - done);
    if (written < 0) {
      if (errno == EINTR) {
        continue;
      }
      if (waits_for_room(descriptor, errno)) {
        wait_until_writable(descriptor);
        continue;
      }
      log_line("K905-1: write error: %s", std::strerror(errno));
      return -1;
    }
    if (written == 0) {
      log_line("K905-1: write returned 0");
      break;
    }
    done += static_cast<std::size_t>(written);
  }
  return static_cast<std::int64_t>(done);
}

int k905_write_read_cmd32(int descriptor, const char* group, const char* name, char* reply,
                          std::size_t reply_size, int timeout_ms) {
  const bool wants_reply = reply != nullptr && reply_size > 0;
  if (wants_reply) {
    reply[0] = '\0';
  }
  const CommandBlock block = make_command_block(group, name);
  if (k905_write_all(descriptor, block.data(), block.size()) < 0) {
    return -1;
  }
  if (!wants_reply) {
    return 0;
  }
  const std::int64_t count = read_reply(descriptor, reply, reply_size - 1, timeout_ms);
  reply[count < 0 ? 0 : count] = '\0';
  trim_reply(reply);
  return static_cast<int>(count);
}
