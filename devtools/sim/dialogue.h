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
    // Something that no printer understands. All further bytes of this client are passed over.
    std::function<void(const StreamError&)> nonsense;
  };

  explicit Dialogue(Handlers handlers);

  // Bytes as they come, in pieces of any size.
  void hear(const std::uint8_t* bytes, std::size_t count);

  // The client has gone. A sheet or a block that is not complete is nonsense.
  void end();

  // A sheet has begun and not ended.
  [[nodiscard]] bool inside_sheet() const { return !parser_.at_sheet_boundary(); }

  // Nonsense has been heard.
  [[nodiscard]] bool is_deaf() const { return deaf_; }

 private:
  void take_block();
  void feed(const std::uint8_t* bytes, std::size_t count);
  void report_nonsense();

  Handlers handlers_;
  PrinterStreamParser parser_;
  std::string block_;               // the command block that is coming in
  std::uint64_t payload_left_ = 0;  // of the block before
  bool deaf_ = false;
};
