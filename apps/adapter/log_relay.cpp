#include "apps/adapter/log_relay.h"

namespace {
// All lines of the filter that are interpreted are much shorter. Longer lines are passed on in
// pieces and are never interpreted.
constexpr std::size_t kMaxLineBytes = 8192;
}  // namespace

void LogRelay::take(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t newline = bytes.find('\n');
    const bool ends = newline != std::string_view::npos;
    const std::size_t count = ends ? newline + 1 : bytes.size();
    line_.append(bytes.substr(0, count));
    bytes.remove_prefix(count);
    if (ends) {
      end_line(line_);
      line_.clear();
      line_is_cut_ = false;
    } else if (line_.size() > kMaxLineBytes) {
      out_ += line_;
      line_.clear();
      line_is_cut_ = true;
    }
  }
}

void LogRelay::end_line(std::string_view line_and_newline) {
  out_ += line_and_newline;
  line_and_newline.remove_suffix(1);
  if (line_is_cut_ || line_and_newline.size() > kMaxLineBytes) return;
  out_ += watch_.lines_after(line_and_newline);
}

void LogRelay::finish() {
  out_ += line_;
  line_.clear();
}

std::string_view LogRelay::pending() const { return std::string_view(out_).substr(out_written_); }

void LogRelay::written(std::size_t count) {
  out_written_ += count;
  if (out_written_ == out_.size()) {
    out_.clear();
    out_written_ = 0;
  }
}
