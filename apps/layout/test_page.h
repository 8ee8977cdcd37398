// A test page that shows the physical size of a print and where the paper ends.
#pragma once

#include "apps/image/picture.h"
#include "apps/layout/sheet_place.h"

namespace k905 {

// Rulers in millimeters from each edge of the paper, a box of 50 x 50 mm, and labels that say which
// option moves which edge. To be passed to page_for(). Throws std::bad_alloc if there is not
// enough memory.
[[nodiscard]] Picture test_page(const SheetPlace& place);

}  // namespace k905
