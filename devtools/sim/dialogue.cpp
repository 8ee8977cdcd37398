#include "devtools/sim/dialogue.h"

#include <algorithm>
#include <utility>

#include "devtools/sim/replies.h"

namespace {

constexpr std::size_t kBlockSize = 32;

std::string field(const std::string& block, std::size_t from, std::size_t size) {
  const std::string text = block.substr(from, size);
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

std::string group_of(const std::string& block) { return field(block, 2, 6); }

bool is_question(const std::string& block) {
  return block.starts_with("\x1bP") && is_question_group(group_of(block));
}

// A length of spaces means no payload. The parser reports an invalid length.
std::uint64_t payload_length(const std::string& block) {
  std::uint64_t length = 0;
  for (const char digit : block.substr(24, 8)) {
    if (digit < '0' || digit > '9') {
      return 0;
    }
    length = length * 10 + static_cast<std::uint64_t>(digit - '0');
  }
  return length;
}

const std::uint8_t* bytes_of(const std::string& text) {
  return reinterpret_cast<const std::uint8_t*>(text.data());
}

}  // namespace

Dialogue::Dialogue(Handlers handlers)
    : handlers_(std::move(handlers)),
      parser_([this](k905::Sheet&& sheet) { handlers_.sheet(std::move(sheet)); }) {}

void Dialogue::receive(const std::uint8_t* bytes, std::size_t count) {
  while (count > 0) {
    const std::size_t taken = take_some(bytes, count);
    if (taken == 0) {
      return;
    }
    bytes += taken;
    count -= taken;
  }
}

std::size_t Dialogue::take_some(const std::uint8_t* bytes, std::size_t count) {
  if (failed_) {
    return count;
  }
  if (payload_left_ > 0) {
    const auto taken = static_cast<std::size_t>(std::min<std::uint64_t>(payload_left_, count));
    payload_left_ -= taken;
    feed(bytes, taken);
    return taken;
  }
  const std::size_t taken = std::min(kBlockSize - block_.size(), count);
  block_.append(reinterpret_cast<const char*>(bytes), taken);
  if (block_.size() == kBlockSize) {
    if (!is_question(block_) && !inside_sheet() && handlers_.may_begin_sheet &&
        !handlers_.may_begin_sheet()) {
      block_.resize(block_.size() - taken);
      return 0;
    }
    take_block();
  }
  return taken;
}

void Dialogue::end() {
  if (!failed_ && !block_.empty()) {
    feed(bytes_of(block_), block_.size());
  }
  if (!failed_ && !parser_.finish()) {
    report_protocol_error();
  }
}

void Dialogue::take_block() {
  const std::string block = std::exchange(block_, "");
  if (is_question(block)) {
    handlers_.question(group_of(block), field(block, 8, 16));
    return;
  }
  payload_left_ = payload_length(block);
  feed(bytes_of(block), block.size());
}

void Dialogue::feed(const std::uint8_t* bytes, std::size_t count) {
  sheet_bytes_ = inside_sheet() ? sheet_bytes_ + count : count;
  if (!parser_.feed(bytes, count)) {
    report_protocol_error();
  }
}

void Dialogue::report_protocol_error() {
  failed_ = true;
  if (parser_.error()) {
    handlers_.protocol_error(*parser_.error());
  }
}
