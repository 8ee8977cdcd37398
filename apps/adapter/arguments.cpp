#include "apps/adapter/arguments.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "apps/adapter/cups_log.h"

namespace k905 {

namespace {

// Arguments with text from users or their programs, by index. The options need no change: the
// filter reads only a profile from them.
struct Text {
  std::size_t index;
  const char* name;
};
constexpr std::array<Text, 3> texts{{{2, "user"}, {3, "title"}, {6, "file"}}};

// Without the characters by which the filter recognizes a setting or a flag.
std::string as_plain_text(std::string text) {
  std::replace(text.begin(), text.end(), '=', ':');
  if (text.starts_with("--")) text.insert(0, " ");
  return text;
}

constexpr std::size_t kCopies = 4;
constexpr std::size_t kFile = 6;

void add_copies_flag(std::vector<std::string>& arguments) {
  const std::string& copies = arguments[kCopies];
  const bool is_number = !copies.empty() && std::all_of(copies.begin(), copies.end(), [](char c) {
    return c >= '0' && c <= '9';
  });
  if (is_number && copies != "1") arguments.insert(arguments.end(), {"--copies", copies});
}

}  // namespace

std::vector<std::string> safe_arguments(int argc, char** argv) {
  std::vector<std::string> arguments(argv, argv + argc);
  for (const Text& text : texts) {
    if (text.index >= arguments.size()) continue;
    std::string changed = as_plain_text(arguments[text.index]);
    if (changed == arguments[text.index]) continue;
    log_to_cups("DEBUG", std::string("rastertok905job: ") + text.name + ": " +
                             one_line(arguments[text.index]));
    arguments[text.index] = std::move(changed);
  }
  if (arguments.size() > kFile) add_copies_flag(arguments);
  return arguments;
}

}  // namespace k905
