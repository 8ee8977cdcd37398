// Converts the text of an option to a value. The same rules for PPD, arguments and flags.
#pragma once

#include <cstdint>
#include <span>

// Decimal number at the beginning of `text`, as atoi reads it, but saturating at the limits of
// int32; 0 if there is no number.
[[nodiscard]] std::int32_t option_int(const char* text);

// `fallback` when `text` is null or exactly "None", otherwise option_int(text).
[[nodiscard]] std::int32_t parse_option_int(const char* text, std::int32_t fallback);

// Millimeters at the beginning of `text`, as atof reads them; 0 if there is no number.
[[nodiscard]] double option_millimeters(const char* text);

// Pixels at 300 dpi: mm * 300.0 / 25.4 + 0.5, truncated toward zero (so -1 mm gives -11),
// saturating at the limits of int32; NaN gives 0.
[[nodiscard]] std::int32_t millimeters_to_pixels(double mm);

// `value` limited to int32.
[[nodiscard]] std::int32_t saturate_to_int32(std::int64_t value);

// Copies `text` into the field, truncated to its size minus one, always terminated. Null counts as
// empty.
void copy_text(std::span<char> field, const char* text);
