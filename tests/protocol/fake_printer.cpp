#include "tests/protocol/fake_printer.h"

#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <utility>

namespace {

constexpr std::size_t kBlockSize = 32;

std::string trimmed(const std::string& field) {
  return field.substr(0, field.find_last_not_of(' ') + 1);
}

std::string question_in(const std::string& block) {
  return trimmed(trimmed(block.substr(2, 6)) + " " + trimmed(block.substr(8, 16)));
}

}  // namespace

FakePrinter::FakePrinter(std::map<std::string, std::string> answers)
    : answers_(std::move(answers)) {
  char name[128] = "";
  if (openpty(&master_, &slave_, name, nullptr, nullptr) != 0 || pipe(stop_) != 0) {
    return;
  }
  termios raw{};
  tcgetattr(slave_, &raw);
  cfmakeraw(&raw);
  tcsetattr(slave_, TCSANOW, &raw);
  path_ = name;
  thread_ = std::thread([this] { serve(); });
}

FakePrinter::~FakePrinter() {
  close(stop_[1]);
  if (thread_.joinable()) {
    thread_.join();
  }
  for (const int descriptor : {stop_[0], slave_, master_}) {
    close(descriptor);
  }
}

std::vector<std::string> FakePrinter::questions() const {
  const std::lock_guard<std::mutex> hold(lock_);
  return questions_;
}

std::vector<std::string> FakePrinter::blocks() const {
  const std::lock_guard<std::mutex> hold(lock_);
  return blocks_;
}

void FakePrinter::serve() {
  std::string pending;
  for (;;) {
    pollfd ready[2] = {{.fd = master_, .events = POLLIN, .revents = 0},
                       {.fd = stop_[0], .events = POLLIN, .revents = 0}};
    if (poll(ready, 2, -1) < 0 || ready[1].revents != 0) {
      return;
    }
    char bytes[256];
    const ssize_t got = read(master_, bytes, sizeof bytes);
    if (got <= 0) {
      return;
    }
    pending.append(bytes, static_cast<std::size_t>(got));
    for (; pending.size() >= kBlockSize; pending.erase(0, kBlockSize)) {
      const std::string block = pending.substr(0, kBlockSize);
      const std::string question = question_in(block);
      {
        const std::lock_guard<std::mutex> hold(lock_);
        blocks_.push_back(block);
        questions_.push_back(question);
      }
      if (const auto answer = answers_.find(question); answer != answers_.end()) {
        if (write(master_, answer->second.data(), answer->second.size()) < 0) {
          return;
        }
      }
    }
  }
}

std::map<std::string, std::string> answers_of_a_k905() {
  return {
      {"STATUS", "00000\r\n"},
      {"INFO FVER", "K905 01.02\r\n"},
      {"INFO MEDIA", "MEDIA 6x8\r\n"},
      {"INFO RESOLUTION_H", "RH0300\r\n"},
      {"INFO RESOLUTION_V", "RV0600\r\n"},
      {"INFO FREE_PBUFFER", "FB002\r\n"},
      {"INFO MQTY_DEFAULT", "MQD 0400\r\n"},
      {"INFO MQTY", "MQT 0350\r\n"},
      {"INFO SERIAL_NUMBER", "K9A000123\r\n"},
      {"MNT_RD COUNTER_LIFE", "CL0012345\r\n"},
      {"MNT_RD COUNTER_MATTE", "CM  0000678\r\n"},
      {"INFO RQTY", "RQT 0700\r\n"},
      {"TBL_RD Version", "T 01.10\r\n"},
      {"MNT_RD CTRLD_CHKSUM", "A1B2\r\n"},
  };
}
