// Prepares a photo for the sheet: cropped or fitted, rotated, scaled once, in sRGB.
#pragma once

#include <optional>
#include <string>

#include "apps/image/photo.h"
#include "apps/image/picture.h"
#include "apps/layout/sheet_place.h"

namespace k905 {

struct PrepareOptions {
  // Show the complete photo on white; otherwise it is cropped to the shape of the sheet.
  bool fit = false;
  // Rotate the photo counterclockwise if the sheet has the other orientation.
  bool rotate = true;
};

struct PreparedPhoto {
  Picture picture;      // 8 bits, of picture_size()
  std::string warning;  // empty, or the defect of a photo that is printed anyway
};

// Null with one line in `error` if the file is truncated or malformed.
[[nodiscard]] std::optional<PreparedPhoto> prepare(const Photo& photo, const SheetPlace& place,
                                                   const PrepareOptions& options,
                                                   std::string& error);

}  // namespace k905
