#include "tests/support/captured_log.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <sstream>

namespace {

std::string captured(int descriptor, const std::function<void()>& code) {
  std::fflush(stdout);
  const int saved = dup(descriptor);
  const int scratch = memfd_create("captured", 0);
  dup2(scratch, descriptor);
  code();
  std::fflush(stdout);
  dup2(saved, descriptor);
  close(saved);

  std::string text(static_cast<std::size_t>(lseek(scratch, 0, SEEK_END)), '\0');
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t got =
        pread(scratch, text.data() + done, text.size() - done, static_cast<off_t>(done));
    if (got <= 0) {
      break;
    }
    done += static_cast<std::size_t>(got);
  }
  close(scratch);
  return text;
}

}  // namespace

std::string captured_log(const std::function<void()>& code) {
  return captured(STDERR_FILENO, code);
}

std::string captured_output(const std::function<void()>& code) {
  return captured(STDOUT_FILENO, code);
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}
