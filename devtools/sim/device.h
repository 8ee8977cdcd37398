// One simulated printer with its terminal, its port and its commands.
#pragma once

#include <poll.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "devtools/sim/commands.h"
#include "devtools/sim/printer.h"
#include "devtools/sim/servers.h"

inline constexpr int kNoWaitLimit = std::numeric_limits<int>::max();

struct DeviceOptions {
  PrinterOptions printer;
  std::optional<std::uint16_t> port;   // of the loopback interface; 0 selects a free one
  std::string link;                    // a symbolic link to the terminal, "" for none
  std::uint64_t bytes_per_second = 0;  // the limit; 0 for none
};

class Device {
 public:
  explicit Device(const DeviceOptions& options);

  // Opens terminal and port, and prints their addresses. False with the reason in `error`.
  [[nodiscard]] bool open(std::string& error);

  // Does all work that is possible without waiting.
  void serve();

  // The descriptors to wait for, and the longest wait; kNoWaitLimit for none.
  void add_waits(std::vector<pollfd>& waits) const;
  [[nodiscard]] int max_wait_ms() const;

  // Prints the result to standard output.
  void execute(const Command& command);
  void print_line(const std::string& line) const { printer_.print_line(line); }

  [[nodiscard]] const Printer& printer() const { return printer_; }

 private:
  [[nodiscard]] std::optional<std::string> perform(PlainCommand command);
  [[nodiscard]] std::optional<std::string> perform(const SetField& command);
  [[nodiscard]] std::optional<std::string> perform(const LoadMedia& command);
  [[nodiscard]] std::optional<std::string> perform(const StopPrinter& command);
  [[nodiscard]] std::optional<std::string> perform(const LineCommand& command);
  void disconnect_if_due();
  void power_off();
  void unplug();
  [[nodiscard]] std::optional<std::string> plug();
  void show() const;

  Printer printer_;
  LineEvents events_;
  std::optional<std::uint16_t> port_;
  TerminalServer terminal_;
  std::unique_ptr<NetworkServer> network_;
  bool is_plugged_ = true;
};
