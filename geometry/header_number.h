// Reads the enumerations of a raster header as plain numbers.
//
// A raster stream can contain any number where libcups declares an enumeration, and reading a
// number that the enumeration cannot represent is undefined behavior. This reads the bytes instead.
#pragma once

#include <cstdint>
#include <cstring>

template <typename Field>
[[nodiscard]] std::int32_t header_number(const Field& field) {
  static_assert(sizeof(Field) == sizeof(std::int32_t));
  std::int32_t number = 0;
  std::memcpy(&number, &field, sizeof number);
  return number;
}
