// A client of the simulated printer: its unprocessed bytes, its dialogue and the replies that it
// has not read.
#pragma once

#include <cstddef>
#include <string>

#include "devtools/sim/dialogue.h"
#include "devtools/sim/line_events.h"
#include "devtools/sim/outbox.h"
#include "devtools/sim/printer.h"

class Client {
 public:
  Client(Printer& printer, LineEvents& events, int descriptor);
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Whether to read more bytes. With `is_limited`, not while the client has not read its replies
  // and the outbox is full.
  [[nodiscard]] bool wants_bytes(bool is_limited = true) const;

  // Reads available bytes, within limits. False at the end of the connection.
  [[nodiscard]] bool read_available();

  // Processes the bytes that were read, as far as the printer accepts data.
  void process();
  [[nodiscard]] bool has_unprocessed_bytes() const { return !waiting_.empty(); }

  // The client has disconnected.
  void end();

  [[nodiscard]] bool has_protocol_error() const { return dialogue_.has_protocol_error(); }

  // A possible reason for an error in the bytes that follow, "" for none.
  void set_error_hint(std::string hint) { error_hint_ = std::move(hint); }

  void clear_replies();

  [[nodiscard]] bool send() { return outbox_.send(descriptor_, Outbox::Clock::now()); }
  [[nodiscard]] const Outbox& outbox() const { return outbox_; }
  [[nodiscard]] int descriptor() const { return descriptor_; }

 private:
  void ask(const std::string& group, const std::string& name);
  void take_sheet(k905::Sheet&& sheet);
  void apply(const PlannedEvent& event, int sheet);

  Printer& printer_;
  LineEvents& events_;
  int descriptor_;
  Dialogue dialogue_;
  Outbox outbox_;
  std::string waiting_;  // read but not processed
  std::string error_hint_;
  bool first_question_ = true;
};
