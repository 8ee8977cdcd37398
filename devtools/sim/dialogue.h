// What one client says to the printer: questions and sheets, told apart block by block.
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
  };

  explicit Dialogue(Handlers handlers);

  // Bytes as they come, in pieces of any size.
  void hear(const std::uint8_t* bytes, std::size_t count);

  // The client has disconnected. A sheet or block that is incomplete is a protocol error.
  void end();

  // A sheet has begun and not ended.
  [[nodiscard]] bool inside_sheet() const { return !parser_.at_sheet_boundary(); }

  // Nonsense has been heard.
  [[nodiscard]] bool has_protocol_error() const { return failed_; }

 private:
  void take_block();
  void feed(const std::uint8_t* bytes, std::size_t count);
  void report_protocol_error();

  Handlers handlers_;
  PrinterStreamParser parser_;
  std::string block_;               // the command block that is coming in
  std::uint64_t payload_left_ = 0;  // of the block before
  bool failed_ = false;
};
