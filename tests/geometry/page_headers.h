// Raster page headers for the tests of this folder.
#pragma once

#include <cups/raster.h>

#include <cstdint>
#include <cstring>

// Puts any number where libcups declares an enumeration, as a stream can.
template <typename Field>
void set_number(Field& field, std::int32_t number) {
  static_assert(sizeof field == sizeof number);
  std::memcpy(&field, &number, sizeof number);
}

// A 6x4 page as a print queue sends it: 8-bit RGB at 300x300 dpi, one copy, upright.
inline cups_page_header2_t header_6x4() {
  cups_page_header2_t header{};
  header.HWResolution[0] = 300;
  header.HWResolution[1] = 300;
  header.PageSize[0] = 461;
  header.PageSize[1] = 298;
  header.NumCopies = 1;
  header.cupsWidth = 1920;
  header.cupsHeight = 1240;
  header.cupsBitsPerColor = 8;
  header.cupsBitsPerPixel = 24;
  header.cupsBytesPerLine = 5760;
  header.cupsColorOrder = CUPS_ORDER_CHUNKED;
  header.cupsColorSpace = CUPS_CSPACE_RGB;
  header.cupsNumColors = 3;
  return header;
}
