#include "apps/adapter/cups_log.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>

namespace {
constexpr std::size_t kMaxQuotedBytes = 512;
constexpr int kLogTimeoutMs = 2000;
}  // namespace

std::string one_line(std::string_view text) {
  std::string line(text.substr(0, kMaxQuotedBytes));
  std::ranges::replace_if(
      line, [](unsigned char c) { return c < 0x20 || c == 0x7f; }, ' ');
  return line;
}

void log_to_cups(std::string_view prefix, std::string_view words) {
  std::string line(prefix);
  line += ": ";
  line += words;
  line += '\n';
  // The log may be closed or stalled; the job is printed anyway.
  pollfd log{STDERR_FILENO, POLLOUT, 0};
  if (poll(&log, 1, kLogTimeoutMs) <= 0) return;
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
}
