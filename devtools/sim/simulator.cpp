#include "devtools/sim/simulator.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <memory>
#include <utility>

namespace {

using Devices = std::vector<std::unique_ptr<Device>>;

// SIGINT and SIGTERM as a readable descriptor.
Descriptor open_signal_descriptor() {
  sigset_t termination_signals;
  sigemptyset(&termination_signals);
  sigaddset(&termination_signals, SIGINT);
  sigaddset(&termination_signals, SIGTERM);
  sigprocmask(SIG_BLOCK, &termination_signals, nullptr);
  return Descriptor(signalfd(-1, &termination_signals, SFD_CLOEXEC));
}

// Reads lines of standard input. The printers continue after the end of the input.
class CommandReader {
 public:
  explicit CommandReader(bool reads) : is_open_(reads) {}

  // -1 after the end.
  [[nodiscard]] int descriptor() const { return is_open_ ? STDIN_FILENO : -1; }

  // To be called when input is available.
  std::vector<std::string> take_lines() {
    char piece[4096];
    const ssize_t got = read(STDIN_FILENO, piece, sizeof piece);
    if (got <= 0) {
      is_open_ = got < 0 && errno == EINTR;
      return {};
    }
    text_.append(piece, static_cast<std::size_t>(got));
    std::vector<std::string> lines;
    for (std::size_t end = 0; (end = text_.find('\n')) != std::string::npos;) {
      lines.push_back(text_.substr(0, end));
      text_.erase(0, end + 1);
    }
    return lines;
  }

 private:
  bool is_open_;
  std::string text_;
};

void execute(const std::string& line, const Devices& devices) {
  std::string error;
  if (const auto command = parse_command(line, devices.size(), error)) {
    devices[command->printer - 1]->execute(*command);
  } else {
    devices.front()->print_line("error: " + error);
  }
}

// `signals` becomes readable when the program must end.
void serve_until_signal(int signals, CommandReader& commands, const Devices& devices) {
  for (;;) {
    std::vector<pollfd> waits = {
        {.fd = signals, .events = POLLIN, .revents = 0},
        {.fd = commands.descriptor(), .events = POLLIN, .revents = 0},
    };
    int wait_ms = kNoWaitLimit;
    for (const auto& device : devices) {
      device->add_waits(waits);
      wait_ms = std::min(wait_ms, device->max_wait_ms());
    }
    poll(waits.data(), waits.size(), wait_ms);
    if (waits[0].revents != 0) {
      return;
    }
    if (waits[1].revents != 0) {
      for (const std::string& line : commands.take_lines()) {
        execute(line, devices);
      }
    }
    for (const auto& device : devices) {
      device->serve();
    }
  }
}

}  // namespace

bool run_simulator(const SimulatorOptions& options, std::string& error) {
  std::signal(SIGPIPE, SIG_IGN);
  const Descriptor termination_signals = open_signal_descriptor();
  Devices devices;
  for (const DeviceOptions& device : options.devices) {
    devices.push_back(std::make_unique<Device>(device));
    if (!devices.back()->open(error)) {
      return false;
    }
  }
  CommandReader commands(options.reads_commands);
  serve_until_signal(termination_signals.get(), commands, devices);
  for (const auto& device : devices) {
    if (device->printer().images_lost() > 0) {
      error = device->printer().sheet_folder() + ": images that could not be stored: " +
              std::to_string(device->printer().images_lost());
      return false;
    }
  }
  return true;
}
