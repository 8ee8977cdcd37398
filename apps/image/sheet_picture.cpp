#include "apps/image/sheet_picture.h"

Picture sheet_picture(const Sheet& sheet, Mirror mirror) {
  Picture picture = blank_picture(sheet.width, sheet.height);
  std::uint8_t* out = picture.bytes.data();
  for (std::size_t y = 0; y < sheet.height; ++y) {
    const std::size_t row = y * sheet.width;
    for (std::size_t x = 0; x < sheet.width; ++x) {
      const std::size_t at = row + (mirror == Mirror::undo ? sheet.width - 1 - x : x);
      *out++ = sheet.plane[0][at];
      *out++ = sheet.plane[1][at];
      *out++ = sheet.plane[2][at];
    }
  }
  return picture;
}
