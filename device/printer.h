// A printer as an object: open it, ask it, send it one sheet, open it again after it was lost.
//
// Errors are errno values. The messages are the caller's; nothing here writes to a log. Questions
// and sheets go over one connection: a question must not be asked between the bytes of a sheet, and
// the class does not let that happen.
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

// A reply as the printer gave it. `error` is 0 or an errno: ETIMEDOUT for a printer that does not
// answer, EPROTO for a reply that has no number where one must be.
struct Reply {
  int error = 0;
  std::string text;  // trimmed
  int number = -1;   // of a question that has one

  // Nothing when there was no such answer.
  [[nodiscard]] std::optional<int> valid_number() const {
    return error == 0 ? std::optional(number) : std::nullopt;
  }
};

// Bytes that are sent one after the other.
using Pieces = std::vector<std::span<const std::uint8_t>>;

struct SendResult {
  int error = 0;
  std::uint64_t written = 0;  // bytes that the system has taken
};

class Printer {
 public:
  using Milliseconds = std::chrono::milliseconds;

  explicit Printer(PrinterAddress address, UsbFolders folders = {});

  [[nodiscard]] const PrinterAddress& address() const { return address_; }

  // Opens the printer, or opens it again after it was lost. Returns 0 or an errno, see Link::open.
  [[nodiscard]] int open(Milliseconds timeout);
  void close();
  [[nodiscard]] bool is_open() const { return link_.is_open(); }

  // Asks a question. The connection is closed when it is broken, and stays open when the printer
  // only failed to answer in time or in form. ENOTCONN when it is not open. The remaining prints
  // are those the printer can make: what its model counts beyond that is taken off.
  [[nodiscard]] Reply ask(QuestionId id);

  // The model as it last answered, "" before it did.
  [[nodiscard]] const std::string& model() const { return model_; }

  // Sends a whole sheet. Each time the printer takes nothing for `stall`, on_stall decides whether
  // to go on. After an error, also ETIMEDOUT when on_stall gave up, the connection is closed: what
  // would follow on it would be taken for pixels.
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
};

}  // namespace k905
