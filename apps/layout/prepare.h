// Prepares a photo for the sheet: cropped or fitted, rotated, scaled once, in sRGB.
#pragma once

#include <optional>
#include <string>

#include "apps/image/photo.h"
#include "apps/image/picture.h"
#include "apps/layout/sheet_place.h"

namespace k905 {

struct Preparation {
  // Show the complete photo on white; otherwise it is cropped to the shape of the sheet.
  bool fit = false;
  // Rotate the photo counterclockwise if the sheet has the other orientation.
  bool rotate = true;
};

struct Prepared {
  Picture picture;      // 8 bits, of picture_size()
  std::string warning;  // empty, or the defect of a photo that is printed anyway
};

// Null with one line in `error` if the file is truncated or malformed.
[[nodiscard]] std::optional<Prepared> prepare(const Photo& photo, const SheetPlace& place,
                                              const Preparation& options, std::string& error);

}  // namespace k905
