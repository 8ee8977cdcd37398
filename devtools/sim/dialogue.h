// Parses the bytes of one client into questions and sheets, block by block.
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
    std::function<void(k905::Sheet&&)> sheet;
    // A protocol error. All further bytes of this client are ignored.
    std::function<void(const k905::StreamError&)> protocol_error;
    // Whether the first block of a sheet may be processed now; if empty, it always may.
    std::function<bool()> may_begin_sheet{};
  };

  explicit Dialogue(Handlers handlers);

  // Processes bytes in pieces of any size.
  void receive(const std::uint8_t* bytes, std::size_t count);

  // Processes some of the bytes, at most one block or payload, and returns their number. 0 if they
  // begin a sheet and may_begin_sheet() returns false.
  [[nodiscard]] std::size_t take_some(const std::uint8_t* bytes, std::size_t count);

  // The client has disconnected. A sheet or block that is incomplete is a protocol error.
  void end();

  // True inside a sheet.
  [[nodiscard]] bool inside_sheet() const { return !parser_.at_sheet_boundary(); }

  // The number of bytes of the current sheet; 0 until its first block is complete.
  [[nodiscard]] std::uint64_t sheet_bytes() const {
    return inside_sheet() ? sheet_bytes_ + block_.size() : 0;
  }

  // True after a protocol error.
  [[nodiscard]] bool has_protocol_error() const { return failed_; }

 private:
  void take_block();
  void feed(const std::uint8_t* bytes, std::size_t count);
  void report_protocol_error();

  Handlers handlers_;
  k905::PrinterStreamParser parser_;
  std::string block_;               // the current command block
  std::uint64_t payload_left_ = 0;  // of the previous block
  std::uint64_t sheet_bytes_ = 0;   // of complete blocks and of payload
  bool failed_ = false;
};
