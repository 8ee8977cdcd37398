// Raster page headers for the tests of this folder.
#pragma once

#include <cups/raster.h>

#include <cstdint>
#include <cstring>

#include "tests/support/raster_builder.h"

// Sets a field that libcups declares as an enumeration to any number, as a stream can.
template <typename Field>
void set_number(Field& field, std::int32_t number) {
  static_assert(sizeof field == sizeof number);
  std::memcpy(&field, &number, sizeof number);
}

// A 6x4 page as a print queue sends it: 8-bit RGB at 300x300 dpi, one copy, upright.
inline cups_page_header2_t header_6x4() { return page_header(1920, 1240); }
