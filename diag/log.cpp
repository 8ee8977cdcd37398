#include "diag/log.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "diag/plain_file.h"

namespace {

// Nearly every line fits here; a longer one is formatted in a temporary buffer.
constexpr std::size_t kLineCapacity = 4096;

// The beginning of a line, from log_text. Only short fixed texts are used.
char line_start[256];
std::size_t line_start_length = 0;

// The most bytes a line may have, newline included; 0 means no limit.
std::size_t line_limit() {
  const char* text = std::getenv("CUPS_MAX_MESSAGE");
  const long limit = text != nullptr ? std::strtol(text, nullptr, 10) : 0;
  return limit > 1 ? static_cast<std::size_t>(limit) : 0;
}

void wait_until_writable() {
  pollfd standard_error{STDERR_FILENO, POLLOUT, 0};
  poll(&standard_error, 1, -1);
}

void write_to_standard_error(const char* bytes, std::size_t length) {
  while (length > 0) {
    const ssize_t written = write(STDERR_FILENO, bytes, length);
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written < 0 && errno == EAGAIN) {
      wait_until_writable();  // Another process made the shared descriptor non-blocking.
      continue;
    }
    if (written <= 0) {
      return;  // The log cannot be written; the job continues without it.
    }
    bytes += written;
    length -= static_cast<std::size_t>(written);
  }
}

// Completes and writes the line: truncates it, replaces line breaks with blanks, adds the newline.
// `line` has room for one byte more than `length`.
void finish_line(char* line, std::size_t length) {
  const std::size_t limit = line_limit();
  if (limit != 0) {
    length = std::min(length, limit - 1);
  }
  std::replace_if(
      line, line + length, [](char c) { return c == '\r' || c == '\n'; }, ' ');
  line[length] = '\n';
  write_to_standard_error(line, length + 1);
}

}  // namespace

void open_log() {
  if (std::getenv("PPD") == nullptr) {
    redirect_log_to_file(kLogFilePath);
  }
  std::setvbuf(stderr, nullptr, _IONBF, 0);
  std::setvbuf(stdout, nullptr, _IONBF, 0);
}

void redirect_log_to_file(const char* path) {
  // freopen would close standard error first; if it then failed, the next opened file would
  // get descriptor 2.
  const int file = open_plain_file(AT_FDCWD, path);
  // The copy does not inherit O_CLOEXEC.
  if (file >= 0 && file != STDERR_FILENO) {
    dup2(file, STDERR_FILENO);
    close(file);
  }
}

void log_line(const char* format, ...) {
  char short_line[kLineCapacity];
  std::memcpy(short_line, line_start, line_start_length);
  const std::size_t start_length = line_start_length;
  line_start_length = 0;

  va_list arguments;
  va_start(arguments, format);
  va_list arguments_copy;
  va_copy(arguments_copy, arguments);
  const std::size_t room = sizeof short_line - start_length;
  const int needed = std::vsnprintf(short_line + start_length, room, format, arguments);
  va_end(arguments);

  if (needed >= 0 && static_cast<std::size_t>(needed) >= room) {
    const std::size_t length = start_length + static_cast<std::size_t>(needed);
    if (char* long_line = static_cast<char*>(std::malloc(length + 1))) {
      std::memcpy(long_line, short_line, start_length);
      std::vsnprintf(long_line + start_length, length + 1 - start_length, format, arguments_copy);
      finish_line(long_line, length);
      std::free(long_line);
    } else {
      finish_line(short_line, sizeof short_line - 1);
    }
  } else {
    finish_line(short_line, start_length + static_cast<std::size_t>(std::max(needed, 0)));
  }
  va_end(arguments_copy);
}

void log_text(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::size_t room = sizeof line_start - line_start_length;
  const int needed = std::vsnprintf(line_start + line_start_length, room, format, arguments);
  va_end(arguments);
  if (needed > 0) {
    line_start_length += std::min(static_cast<std::size_t>(needed), room - 1);
  }
}
