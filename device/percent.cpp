// Escapes and their hexadecimal digits.

#include "device/percent.h"

namespace k905 {

namespace {

int hex_value(char c) {
  constexpr std::string_view digits = "0123456789abcdef";
  const auto position = digits.find(static_cast<char>(c >= 'A' && c <= 'F' ? c - 'A' + 'a' : c));
  return position == std::string_view::npos ? -1 : static_cast<int>(position);
}

}  // namespace

std::optional<std::string> percent_decoded(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    const int high = i + 2 < text.size() ? hex_value(text[i + 1]) : -1;
    const int low = i + 2 < text.size() ? hex_value(text[i + 2]) : -1;
    if (high < 0 || low < 0 || high + low == 0) {
      return std::nullopt;
    }
    decoded += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return decoded;
}

std::string percent_encoded(std::string_view text) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string escaped;
  for (const char c : text) {
    const bool plain = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                       c == '-' || c == '.' || c == '_' || c == '~';
    if (plain) {
      escaped += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      escaped += {'%', digits[byte >> 4], digits[byte & 15]};
    }
  }
  return escaped;
}

}  // namespace k905
