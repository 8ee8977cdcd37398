// A photo made ready for the sheet: cropped or fitted, rotated, scaled once, in sRGB.
#pragma once

#include <optional>
#include <string>

#include "apps/image/photo.h"
#include "apps/image/picture.h"
#include "apps/layout/sheet_place.h"

struct Preparation {
  bool whole =
      false;         // fit all of the photo on white; otherwise it is cropped to the sheet's shape
  bool turn = true;  // rotate it by 90 degrees to the left where that suits the sheet's shape
};

struct Prepared {
  Picture picture;      // 8 bits, of picture_size()
  std::string warning;  // empty, or what was wrong with the photo although it prints
};

// Null with one line in `error` when the file is truncated or malformed.
[[nodiscard]] std::optional<Prepared> prepare(const k905::Photo& photo, const SheetPlace& place,
                                              const Preparation& options, std::string& error);
