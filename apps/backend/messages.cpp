// Lines for the scheduler.

#include "apps/backend/messages.h"

#include <unistd.h>

#include <algorithm>

#include "apps/base/write_all.h"
#include "device/status_reasons.h"

namespace k905::backend {

bool write_line(std::string_view prefix, std::string_view text) {
  std::string line(prefix);
  line += text;
  std::replace_if(
      line.begin(), line.end(), [](char c) { return c == '\n' || c == '\r' || c == '\0'; }, ' ');
  line += '\n';
  return write_all(STDERR_FILENO, line);
}

StateReason::StateReason() {
  std::string all;
  for (const std::string_view keyword : all_reason_keywords()) {
    all += (all.empty() ? "" : ",") + std::string(keyword);
  }
  write_line("STATE: -", all);
}

StateReason::~StateReason() { clear(); }

void StateReason::show(std::string_view keyword, std::string_view sentence) {
  if (keyword != keyword_) {
    clear();
    keyword_ = keyword;
    write_line("STATE: +", keyword_);
  }
  if (sentence != sentence_) {
    sentence_ = sentence;
    warn(sentence_);
  }
}

void StateReason::clear() {
  if (!keyword_.empty()) {
    write_line("STATE: -", keyword_);
  }
  keyword_.clear();
  sentence_.clear();
}

}  // namespace k905::backend
