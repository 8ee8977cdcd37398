// A printer's sheet as a picture.
#pragma once

#include "apps/image/picture.h"
#include "apps/wire/printer_stream.h"

enum class Mirror { undo, leave };

// The three planes as red, green and blue. The filter turns the picture left to right for the
// printer, which prints it from behind; `Mirror::undo` gives the sheet as the customer holds it.
[[nodiscard]] Picture sheet_picture(const Sheet& sheet, Mirror mirror);
