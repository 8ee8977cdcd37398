// A page that shows how large things come out and where the paper really ends.
#pragma once

#include "apps/image/picture.h"
#include "apps/layout/sheet_place.h"

namespace k905 {

// Rulers in millimeters from each edge of the paper, a box of 50 x 50 mm, and which option moves
// which edge. For page_for(). Throws std::bad_alloc without memory.
[[nodiscard]] Picture test_page(const SheetPlace& place);

}  // namespace k905
