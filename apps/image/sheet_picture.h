// A printer's sheet as an image.
#pragma once

#include "apps/image/picture.h"
#include "apps/image/write_png.h"
#include "apps/wire/printer_stream.h"

enum class Mirror { undo, leave };

// All pixels of the three planes as red, green and blue. The filter mirrors the image left to right
// for the printer, which prints it from behind; `Mirror::undo` gives it as the customer sees it.
[[nodiscard]] Picture sheet_picture(const Sheet& sheet, Mirror mirror);

enum class SheetView {
  paper,   // what the customer holds: without the margins beyond the paper, pixels made square
  canvas,  // every pixel that the printer gets
  wire,    // the same, mirrored as the printer gets it
};

struct ShownSheet {
  Picture picture;
  PixelDensity density;  // 0 where the sheet has the size of no paper
};

// The paper is found by the size of the sheet and the way it is cut. Two pages that share a sheet
// are shown one below the other with a gray gap. A sheet of another size is shown whole.
[[nodiscard]] ShownSheet shown_sheet(const Sheet& sheet, SheetView view);
