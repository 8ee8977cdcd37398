#include "devtools/sim/fault.h"

#include <array>
#include <string_view>

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::size_t kLongReply = 300;

// No digit, no name of a model or a medium; a NUL after the first few bytes.
constexpr std::string_view kGarbage{"\x1b\xff\x80%s\t?\x00\xfe&@\x7f~", 13};

struct NamedFault {
  std::string_view name;
  FaultKind kind;
};

constexpr auto kFaults = std::to_array<NamedFault>({
    {"silent", FaultKind::silent},
    {"slow", FaultKind::slow},
    {"split", FaultKind::split},
    {"cut", FaultKind::cut},
    {"long", FaultKind::longer},
    {"garbage", FaultKind::garbage},
    {"busy", FaultKind::busy},
});

std::string with_line_end(std::string_view text) {
  return std::string(text) + std::string(kLineEnd);
}

}  // namespace

std::optional<FaultKind> fault_named(const std::string& name) {
  for (const NamedFault& fault : kFaults) {
    if (name == fault.name) {
      return fault.kind;
    }
  }
  return std::nullopt;
}

std::vector<Piece> pieces_of_reply(const std::string& text, const Fault& fault,
                                   const std::string& question, bool first) {
  const bool applies = fault.question.empty() || fault.question == question;
  const std::size_t half = text.size() / 2;
  switch (applies ? fault.kind : FaultKind::none) {
    case FaultKind::silent:
      return {};
    case FaultKind::slow:
      return {{text.substr(0, half), fault.pause}, {with_line_end(text.substr(half)), fault.pause}};
    case FaultKind::split:
      // The pause after it keeps the next answer from following the LF at once.
      return {{text + "\r"}, {"\n", fault.pause}, {"", fault.pause}};
    case FaultKind::cut:
      return {{text.substr(0, half)}};
    case FaultKind::longer:
      return {{with_line_end(text + std::string(kLongReply - text.size(), 'x'))}};
    case FaultKind::garbage:
      return {{with_line_end(kGarbage)}};
    case FaultKind::busy:
      return {{with_line_end(text), first ? fault.pause : std::chrono::milliseconds(0)}};
    case FaultKind::none:
      break;
  }
  return {{with_line_end(text)}};
}
