// A printer's sheet as an image.
#pragma once

#include "apps/image/picture.h"
#include "apps/image/write_png.h"
#include "apps/wire/printer_stream.h"

namespace k905 {

enum class Mirror { undo, leave };

// All pixels of the three planes as red, green and blue. The filter mirrors the image left to
// right, because the printer prints the back; `Mirror::undo` shows it as the customer sees it.
[[nodiscard]] Picture sheet_picture(const Sheet& sheet, Mirror mirror);

enum class SheetView {
  paper,   // what the customer holds: without the margins outside the paper, with square pixels
  canvas,  // every pixel that is sent to the printer
  wire,    // the same, mirrored as it is sent
};

struct ShownSheet {
  Picture picture;
  PixelDensity density;  // 0 if the size of the sheet belongs to no paper
};

// The size of the sheet and its cut identify the paper. Two pages that share a sheet are shown one
// below the other with a gray gap. A sheet of another size is shown completely.
[[nodiscard]] ShownSheet shown_sheet(const Sheet& sheet, SheetView view);

}  // namespace k905
