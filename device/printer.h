// A printer as an object: open it, ask it, send it one sheet, reopen it after a lost connection.
//
// Errors are errno values. Callers print the messages; nothing here writes to a log. Questions and
// sheets use one connection: a question must not be sent inside a sheet, and the class prevents it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "device/link.h"
#include "protocol/questions.h"

namespace k905 {

// A reply of the printer. `error` is 0 or an errno: ETIMEDOUT if the printer does not answer,
// EPROTO for a reply without the expected number.
struct Reply {
  int error = 0;
  std::string text;  // trimmed
  int number = -1;   // if the question has one

  // The number of the reply; nothing after an error. Only for questions that have a number.
  [[nodiscard]] std::optional<int> valid_number() const {
    return error == 0 ? std::optional(number) : std::nullopt;
  }
};

// The parts of a sheet, which are sent in this order.
using Pieces = std::vector<std::span<const std::uint8_t>>;

struct SendResult {
  int error = 0;
  std::uint64_t written = 0;  // bytes that the system has accepted
};

class Printer {
 public:
  using Milliseconds = std::chrono::milliseconds;

  explicit Printer(PrinterAddress address, UsbFolders folders = {});

  [[nodiscard]] const PrinterAddress& address() const { return address_; }

  // Opens or reopens the printer. Returns 0 or an errno, see Link::open.
  [[nodiscard]] int open(Milliseconds timeout);
  void close();
  [[nodiscard]] bool is_open() const { return link_.is_open(); }

  // Asks a question. Closes a broken connection; the connection stays open if the printer only
  // failed to answer in time or in the expected form. ENOTCONN if it is not open, EBUSY inside a
  // sheet. The number of remaining prints is without the reserve of the model.
  [[nodiscard]] Reply ask(QuestionId id);

  // The model of the last answer, "" before the first one.
  [[nodiscard]] const std::string& model() const { return model_; }

  // Sends a complete sheet. Whenever the printer accepts nothing for `stall`, on_stall decides
  // whether to continue. After an error, including ETIMEDOUT after on_stall gave up, the connection
  // is closed: further bytes would be read as pixels.
  [[nodiscard]] SendResult send(const Pieces& pieces, Milliseconds stall,
                                const std::function<bool()>& on_stall);

 private:
  int exchange(QuestionId id, std::string& text);
  int learn_model();

  PrinterAddress address_;
  UsbFolders folders_;
  Link link_;
  std::string model_;
  bool late_reply_possible_ = false;
  bool is_sending_ = false;
};

}  // namespace k905
