#include "tests/cli/interactive_process.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>

#include "apps/base/write_all.h"
#include "tests/support/captured_log.h"

namespace {

bool read_some(int descriptor, std::string& text) {
  std::array<char, 4096> piece;
  const ssize_t got = read(descriptor, piece.data(), piece.size());
  if (got > 0) {
    text.append(piece.data(), static_cast<std::size_t>(got));
  }
  return got > 0;
}

}  // namespace

InteractiveProcess::InteractiveProcess(const ChildSetup& setup) {
  std::signal(SIGPIPE, SIG_IGN);
  child_ = start_child(setup, in_.read_end, out_.write_end, err_.write_end);
  close(in_.read_end);
  close(out_.write_end);
  close(err_.write_end);
}

InteractiveProcess::~InteractiveProcess() {
  end_input();
  close_output();
  close(err_.read_end);
}

void InteractiveProcess::write_input(const std::string& bytes) const {
  (void)write_all(in_.write_end, bytes);  // fails if the child has ended
}

void InteractiveProcess::end_input() {
  if (in_.write_end >= 0) {
    close(in_.write_end);
    in_.write_end = -1;
  }
}

void InteractiveProcess::send_signal(int signal) const { kill(child_, signal); }

void InteractiveProcess::close_output() {
  if (out_.read_end >= 0) {
    close(out_.read_end);
    out_.read_end = -1;
  }
}

bool InteractiveProcess::wait_for_line(const std::string& text) {
  for (;;) {
    const std::size_t at = log_.find(text);
    if (at != std::string::npos && log_.find('\n', at) != std::string::npos) {
      return true;
    }
    if (!read_some(err_.read_end, log_)) {
      return false;
    }
  }
}

bool InteractiveProcess::wait_for_lines(std::size_t count) {
  while (static_cast<std::size_t>(std::count(log_.begin(), log_.end(), '\n')) < count) {
    if (!read_some(err_.read_end, log_)) {
      return false;
    }
  }
  return true;
}

bool InteractiveProcess::wait_for_output(std::size_t count) {
  while (output_.size() < count) {
    if (!read_some(out_.read_end, output_)) {
      return false;
    }
  }
  return true;
}

void InteractiveProcess::read_either(std::chrono::milliseconds timeout) {
  out_open_ = out_open_ && out_.read_end >= 0;
  std::array<pollfd, 2> watched{
      {{out_open_ ? out_.read_end : -1, POLLIN, 0}, {err_open_ ? err_.read_end : -1, POLLIN, 0}}};
  if (poll(watched.data(), watched.size(), static_cast<int>(timeout.count())) <= 0) {
    return;
  }
  if (watched[0].revents != 0) {
    out_open_ = read_some(out_.read_end, output_);
  }
  if (watched[1].revents != 0) {
    err_open_ = read_some(err_.read_end, log_);
  }
}

void InteractiveProcess::read_until(std::size_t lines, std::size_t bytes,
                                    std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while ((out_open_ || err_open_) && std::chrono::steady_clock::now() < deadline &&
         (output_.size() < bytes ||
          static_cast<std::size_t>(std::count(log_.begin(), log_.end(), '\n')) < lines)) {
    read_either(std::chrono::milliseconds(1));
  }
}

ChildEnd InteractiveProcess::finish() {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  out_open_ = out_.read_end >= 0;
  while ((out_open_ || err_open_) && std::chrono::steady_clock::now() < deadline) {
    read_either();
  }
  return wait_for_child(child_, std::chrono::seconds(out_open_ || err_open_ ? 0 : 30));
}

std::vector<std::string> InteractiveProcess::log() const { return lines_of(log_); }
