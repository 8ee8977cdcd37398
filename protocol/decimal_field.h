// The printer's eight-digit decimal number: a block's payload length, a control's parameter.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr std::size_t kDecimalFieldSize = 8;

// Writes `value` in eight digits with leading zeros and no terminator. A longer number keeps its
// last eight digits; no number that is sent to the printer is that long.
constexpr void put_decimal8(char* field, std::uint64_t value) {
  for (std::size_t place = kDecimalFieldSize; place > 0; --place) {
    field[place - 1] = static_cast<char>('0' + value % 10);
    value /= 10;
  }
}
