// The page of an image in memory.
#include <cstring>

#include "apps/image/picture.h"
#include "apps/layout/sheet_place.h"

namespace k905 {

Picture page_for(const Picture& picture, const SheetPlace& place) {
  const PageMap map = page_map(place);
  Picture page;
  page.width = place.page_width;
  page.height = place.page_height;
  page.channels = picture.channels;
  page.bits = picture.bits;
  page.bytes.resize(page.row_bytes() * page.height);
  const std::size_t pixel = static_cast<std::size_t>(picture.channels) * picture.sample_bytes();
  std::uint8_t* out = page.bytes.data();
  for (const std::uint32_t row : map.rows) {
    const std::uint8_t* from = picture.bytes.data() + row * picture.row_bytes();
    for (const std::uint32_t column : map.columns) {
      std::memcpy(out, from + column * pixel, pixel);
      out += pixel;
    }
  }
  return page;
}

}  // namespace k905
