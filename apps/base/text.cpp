#include "apps/base/text.h"

#include <cstdint>
#include <filesystem>

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// The length in bytes of the UTF-8 character at the beginning of `text`; 0 if the bytes there are
// not valid. `text` is not empty.
std::size_t character_length(std::string_view text) {
  const auto byte = [text](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned first = byte(0);
  if (first < 0x80) {
    return 1;
  }
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || text.size() < length) {
    return 0;
  }
  std::uint32_t code = first & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) {
      return 0;
    }
    code = code << 6 | (byte(i) & 0x3F);
  }
  const bool is_overlong = (length == 3 && code < 0x800) || (length == 4 && code < 0x10000);
  const bool is_invalid = (code >= 0xD800 && code <= 0xDFFF) || code > 0x10FFFF;
  return is_overlong || is_invalid ? 0 : length;
}

}  // namespace

std::string valid_utf8(std::string_view bytes) {
  std::string text;
  while (!bytes.empty()) {
    const std::size_t length = character_length(bytes);
    text += length == 0 ? kReplacement : bytes.substr(0, length);
    bytes.remove_prefix(length == 0 ? 1 : length);
  }
  return text;
}

std::string one_line_of_text(std::string_view bytes, std::size_t limit) {
  const std::string valid = valid_utf8(bytes);
  std::string line;
  for (std::size_t at = 0; at < valid.size();) {
    const std::size_t length = character_length(std::string_view(valid).substr(at));
    if (line.size() + length > limit) {
      break;
    }
    const auto first = static_cast<unsigned char>(valid[at]);
    line += first < 0x20 || first == 0x7F ? " " : valid.substr(at, length);
    at += length;
  }
  return line;
}

std::string local_time(std::time_t time) {
  std::tm parts{};
  localtime_r(&time, &parts);
  char text[32];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts)};
}

std::string numbered_name(const std::string& name, std::size_t number) {
  if (number == 1) {
    return name;
  }
  const std::size_t ending = std::filesystem::path(name).extension().string().size();
  return std::string(name).insert(name.size() - ending, "-" + std::to_string(number));
}
