#include "apps/adapter/arguments.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "apps/adapter/one_line.h"

namespace k905 {

namespace {

// Texts that come from outside, by their place. The options have a place of their own, where the
// filter looks for nothing but a profile.
struct Text {
  std::size_t index;
  const char* name;
};
constexpr std::array<Text, 3> texts{{{2, "user"}, {3, "title"}, {6, "file"}}};

std::string harmless(std::string text) {
  std::replace(text.begin(), text.end(), '=', ':');
  if (text.starts_with("--")) text.insert(0, " ");
  return text;
}

}  // namespace

std::vector<std::string> harmless_arguments(int argc, char** argv) {
  std::vector<std::string> arguments(argv, argv + argc);
  for (const Text& text : texts) {
    if (text.index >= arguments.size()) continue;
    std::string changed = harmless(arguments[text.index]);
    if (changed == arguments[text.index]) continue;
    tell_cups("DEBUG", std::string("rastertok905job: ") + text.name + ": " +
                           one_line(arguments[text.index]));
    arguments[text.index] = std::move(changed);
  }
  return arguments;
}

}  // namespace k905
