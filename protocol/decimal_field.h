// The printer's eight-digit decimal number: a block's payload length, a control's parameter.
#pragma once

#include <cstddef>
#include <cstdint>

inline constexpr std::size_t kDecimalFieldSize = 8;

// Writes `value` in eight digits, zeros in front, no terminator. A number of more digits keeps its
// last eight; nothing the printer is sent comes near that.
constexpr void put_decimal8(char* field, std::uint64_t value) {
  for (std::size_t place = kDecimalFieldSize; place > 0; --place) {
    field[place - 1] = static_cast<char>('0' + value % 10);
    value /= 10;
  }
}
