// The numbers of the header's enumerations.
//
// A raster stream can hold any number where libcups declares an enumeration, and to read one that
// the enumeration has no room for is undefined. These read the bytes instead.
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
