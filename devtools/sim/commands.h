// Commands that simulate the operator, the cable and the power switch.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include "devtools/sim/line_events.h"

struct SetField {
  std::string key;
  std::string text;
};
struct LoadMedia {
  std::string media;
  std::string prints;  // "": the number of a new roll
};
struct StopPrinter {
  int status = 0;  // 0: the printer continues
};
struct LineCommand {
  PlannedEvent event;
  bool at_once = false;
};
enum class PlainCommand { show, resume, plug, power_off, power_cycle };

using Action = std::variant<PlainCommand, SetField, LoadMedia, StopPrinter, LineCommand>;

struct Command {
  std::size_t printer = 1;
  Action action;
};

struct CommandUsage {
  const char* text;
  const char* meaning;
};
[[nodiscard]] std::span<const CommandUsage> command_usages();

// Null with the reason in `error`. `printers` is the number of printers.
[[nodiscard]] std::optional<Command> parse_command(const std::string& line, std::size_t printers,
                                                   std::string& error);
