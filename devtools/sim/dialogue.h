// The bytes of one client: questions and sheets, told apart block by block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "apps/wire/printer_stream.h"

class Dialogue {
 public:
  struct Handlers {
    std::function<void(const std::string& group, const std::string& name)> question;
    std::function<void(Sheet&&)> sheet;
    // Bytes that no printer accepts. All further bytes of this client are ignored.
    std::function<void(const StreamError&)> protocol_error;
    // Whether the first block of a sheet may be taken now; it always may be when this is empty.
    std::function<bool()> may_begin_sheet{};
  };

  explicit Dialogue(Handlers handlers);

  // Bytes as they come, in pieces of any size.
  void hear(const std::uint8_t* bytes, std::size_t count);

  // Takes some of the bytes, no more than those of one block or payload, and returns how many. 0
  // when a sheet would begin that may not begin.
  [[nodiscard]] std::size_t take_some(const std::uint8_t* bytes, std::size_t count);

  // The client has disconnected. A sheet or block that is incomplete is a protocol error.
  void end();

  // A sheet has begun and not ended.
  [[nodiscard]] bool inside_sheet() const { return !parser_.at_sheet_boundary(); }

  // Bytes so far of the sheet that is coming in; 0 until its first block is complete.
  [[nodiscard]] std::uint64_t sheet_bytes() const {
    return inside_sheet() ? sheet_bytes_ + block_.size() : 0;
  }

  // Bytes came that no printer accepts.
  [[nodiscard]] bool has_protocol_error() const { return failed_; }

 private:
  void take_block();
  void feed(const std::uint8_t* bytes, std::size_t count);
  void report_protocol_error();

  Handlers handlers_;
  PrinterStreamParser parser_;
  std::string block_;               // the command block that is coming in
  std::uint64_t payload_left_ = 0;  // of the block before
  std::uint64_t sheet_bytes_ = 0;   // of complete blocks and of payload
  bool failed_ = false;
};
