#include "devtools/sim/commands.h"

#include <array>
#include <limits>
#include <map>
#include <sstream>
#include <utility>
#include <vector>

#include "devtools/sim/printer_state.h"

namespace {

using Words = std::vector<std::string>;

constexpr int kCoverOpen = 1000;
constexpr int kPaperJam = 1300;

constexpr auto kUsages = std::to_array<CommandUsage>({
    {"show", "print the fields and whether the printer can be reached"},
    {"set FIELD VALUE", "set a field, as in the state file"},
    {"load MEDIA [PRINTS]", "load new media and close the cover"},
    {"cover open", "open the cover; the printer stops"},
    {"cover close", "close the cover; the printer continues"},
    {"jam", "jam the paper; the printer stops"},
    {"clear", "end a jam or stop; the printer continues"},
    {"stop STATUS", "stop the printer with this status code"},
    {"hold [at BYTE [of N]]", "receive no more data: now, or at this byte of sheet N"},
    {"continue", "receive data again"},
    {"disconnect [at BYTE [of N] | after [N]]",
     "disconnect clients: now, at this byte of sheet N, or after sheet N was received"},
    {"unplug [at BYTE [of N] | after [N]]", "like disconnect, and refuse connections"},
    {"plug", "accept connections again"},
    {"power off", "unplug, and lose the sheets in the buffers"},
    {"power on", "accept connections again"},
    {"power cycle", "power off, then power on"},
});

// The action of a command that consists only of fixed words, such as "cover open"; null for any
// other.
std::optional<Action> plain_action(const std::string& text) {
  static const std::map<std::string, Action> actions{
      {"show", PlainCommand::show},     {"cover open", StopPrinter{kCoverOpen}},
      {"cover close", StopPrinter{}},   {"jam", StopPrinter{kPaperJam}},
      {"clear", StopPrinter{}},         {"continue", PlainCommand::resume},
      {"plug", PlainCommand::plug},     {"power off", PlainCommand::power_off},
      {"power on", PlainCommand::plug}, {"power cycle", PlainCommand::power_cycle},
  };
  const auto found = actions.find(text);
  return found == actions.end() ? std::nullopt : std::optional(found->second);
}

std::optional<LineEvent> line_event_in(const std::string& word) {
  return word == "hold"         ? std::optional(LineEvent::hold)
         : word == "disconnect" ? std::optional(LineEvent::disconnect)
         : word == "unplug"     ? std::optional(LineEvent::unplug)
                                : std::nullopt;
}

std::optional<int> number_in(const std::string& text) {
  return parse_number(text, 1, std::numeric_limits<int>::max());
}

Words words_of(const std::string& line) {
  std::istringstream stream(line);
  Words words;
  for (std::string word; stream >> word;) {
    words.push_back(word);
  }
  return words;
}

std::string joined(const Words& words) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : " ") + word;
  }
  return text;
}

// "at BYTE", "at BYTE of N", "after", "after N", or nothing. Null for anything else.
std::optional<LineCommand> line_command(LineEvent event, const Words& words) {
  LineCommand command{.event = {.event = event, .byte = std::nullopt, .sheet = std::nullopt}};
  if (words.size() == 1) {
    command.at_once = true;
    return command;
  }
  const bool is_after = words[1] == "after" && event != LineEvent::hold;
  const bool is_at = words[1] == "at" && words.size() > 2;
  const std::size_t number_index = is_at ? 4 : 2;
  if ((!is_after && !is_at) || words.size() > number_index + 1 ||
      (is_at && words.size() == number_index)) {
    return std::nullopt;
  }
  if (is_at) {
    const std::optional<int> byte = number_in(words[2]);
    if (!byte || (words.size() > 3 && words[3] != "of")) {
      return std::nullopt;
    }
    command.event.byte = static_cast<std::uint64_t>(*byte);
  }
  if (words.size() > number_index) {
    command.event.sheet = number_in(words[number_index]);
    if (!command.event.sheet) {
      return std::nullopt;
    }
  }
  return command;
}

std::optional<Action> action_of(const Words& words) {
  if (auto action = plain_action(joined(words))) {
    return action;
  }
  if (const auto event = line_event_in(words[0])) {
    return line_command(*event, words);
  }
  if (words[0] == "stop" && words.size() == 2 && number_in(words[1])) {
    return StopPrinter{*number_in(words[1])};
  }
  if (words[0] == "set" && words.size() >= 3) {
    return SetField{words[1], joined({words.begin() + 2, words.end()})};
  }
  if (words[0] == "load" && (words.size() == 2 || words.size() == 3)) {
    return LoadMedia{words[1], words.size() == 3 ? words[2] : ""};
  }
  return std::nullopt;
}

}  // namespace

std::span<const CommandUsage> command_usages() { return kUsages; }

std::optional<Command> parse_command(const std::string& line, std::size_t printers,
                                     std::string& error) {
  Words words = words_of(line);
  Command command;
  if (!words.empty()) {
    if (const std::optional<int> number = number_in(words[0])) {
      command.printer = static_cast<std::size_t>(*number);
      words.erase(words.begin());
    }
  }
  if (command.printer > printers) {
    error = "there is no printer " + std::to_string(command.printer);
    return std::nullopt;
  }
  std::optional<Action> action;
  if (words.empty() || !(action = action_of(words))) {
    error = "'" + line + "' is not a command; --help lists all commands";
    return std::nullopt;
  }
  command.action = std::move(*action);
  return command;
}
