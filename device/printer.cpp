// Questions whose replies are checked strictly, and complete sheets.

#include "device/printer.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <thread>
#include <utility>

#include "protocol/command_block.h"

namespace k905 {

namespace {

// If a question was not answered: the pause before the next one, in which a late reply arrives that
// is then discarded.
constexpr std::chrono::milliseconds kLateReplyWait{200};

constexpr std::chrono::milliseconds kQuestionStall{3000};

void trim(std::string& text) {
  const std::size_t end = text.find('\0');
  text.erase(std::min(end, text.size()));
  text.erase(text.find_last_not_of(" \r\n") + 1);
  text.erase(0, text.find_first_not_of(' '));
}

// Stricter than the status query, which reports whatever it can read, because these numbers decide
// whether a sheet is sent.
std::optional<int> number_in(const std::string& text, const CounterField& field) {
  if (text.size() < field.minimum_size()) {
    return std::nullopt;
  }
  int number = 0;
  for (std::size_t i = field.first; i < field.minimum_size(); ++i) {
    if (text[i] < '0' || text[i] > '9') {
      return std::nullopt;
    }
    number = number * 10 + (text[i] - '0');
  }
  return number;
}

}  // namespace

Printer::Printer(PrinterAddress address, UsbFolders folders)
    : address_(std::move(address)), folders_(std::move(folders)) {}

int Printer::open(Milliseconds timeout) {
  late_reply_possible_ = false;
  model_.clear();
  return link_.open(address_, timeout, folders_);
}

void Printer::close() { link_.close(); }

Reply Printer::ask(QuestionId id) {
  if (!link_.is_open()) {
    return {.error = ENOTCONN, .text = ""};
  }
  if (is_sending_) {
    return {.error = EBUSY, .text = ""};
  }
  Reply reply;
  if (id == QuestionId::kRemainingMedia && (reply.error = learn_model()) != 0) {
    return reply;
  }
  reply.error = exchange(id, reply.text);
  if (reply.error != 0) {
    return reply;
  }
  const CounterField& field = question(id).counter;
  if (field.digits > 0) {
    const std::optional<int> number = number_in(reply.text, field);
    if (!number) {
      reply.error = EPROTO;
      late_reply_possible_ = true;
      return reply;
    }
    reply.number = *number;
  }
  if (id == QuestionId::kRemainingMedia) {
    reply.number = std::max(0, reply.number - reserved_prints(model_.c_str()));
  }
  if (id == QuestionId::kFirmware) {
    model_ = find_model(reply.text.c_str());
  }
  return reply;
}

// The number of reserved prints depends on the model.
int Printer::learn_model() { return model_.empty() ? ask(QuestionId::kFirmware).error : 0; }

int Printer::exchange(QuestionId id, std::string& text) {
  if (late_reply_possible_) {
    std::this_thread::sleep_for(kLateReplyWait);
  }
  link_.discard_input();
  const Question& asked = question(id);
  const CommandBlock block = make_command_block(asked.group, asked.name);
  std::size_t written = 0;
  int error = link_.write({reinterpret_cast<const std::uint8_t*>(block.data()), block.size()},
                          kQuestionStall, written);
  if (error == 0) {
    const Milliseconds timeout(reply_timeout_ms(id, model_.c_str()));
    error = link_.read_line(text, asked.reply_size - 1, timeout);
    late_reply_possible_ = error == ETIMEDOUT;
  } else if (error == ETIMEDOUT && written > 0) {
    error = EIO;  // the next bytes would be read as the rest of the question
  }
  if (error != 0 && error != ETIMEDOUT) {
    link_.close();
  }
  trim(text);
  return error;
}

SendResult Printer::send(const Pieces& pieces, Milliseconds stall,
                         const std::function<bool()>& on_stall) {
  SendResult result;
  if (!link_.is_open()) {
    result.error = ENOTCONN;
    return result;
  }
  is_sending_ = true;
  for (std::span<const std::uint8_t> piece : pieces) {
    while (!piece.empty() && result.error == 0) {
      std::size_t written = 0;
      const int error = link_.write(piece, stall, written);
      piece = piece.subspan(written);
      result.written += written;
      if (error != 0 && (error != ETIMEDOUT || !on_stall())) {
        result.error = error;
        link_.close();
      }
    }
  }
  is_sending_ = false;
  return result;
}

}  // namespace k905
