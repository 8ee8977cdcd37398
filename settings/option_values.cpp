#include "settings/option_values.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();

}  // namespace

std::int32_t option_int(const char* text) {
  // strtol saturates at the limits of long, atoi would be undefined there.
  return saturate_to_int32(std::strtol(text, nullptr, 10));
}

std::int32_t parse_option_int(const char* text, std::int32_t fallback) {
  const bool not_set = text == nullptr || std::strcmp(text, "None") == 0;
  return not_set ? fallback : option_int(text);
}

double option_millimeters(const char* text) {
  // The program never calls setlocale, so the decimal separator is always a point.
  return std::strtod(text, nullptr);
}

std::int32_t millimeters_to_pixels(double mm) {
  const double pixels = mm * 300.0 / 25.4 + 0.5;
  if (std::isnan(pixels)) {
    return 0;
  }
  return static_cast<std::int32_t>(
      std::clamp(pixels, static_cast<double>(kLowest), static_cast<double>(kHighest)));
}

std::int32_t saturate_to_int32(std::int64_t value) {
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, kLowest, kHighest));
}

void copy_text(std::span<char> field, const char* text) {
  if (field.empty()) {
    return;
  }
  const std::size_t length = text != nullptr ? strnlen(text, field.size() - 1) : 0;
  std::memmove(field.data(), text != nullptr ? text : "", length);
  field[length] = '\0';
}
