// Pictures drawn by the program itself: the same bytes on every machine, for tests and for trying
// the filter without a photograph at hand.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/image/picture.h"

struct TestPictureName {
  const char* name;
  const char* shows;  // in a few words
};
[[nodiscard]] const std::vector<TestPictureName>& test_picture_names();

// The picture of that name in width x height pixels, 8-bit color; null when there is none.
[[nodiscard]] std::optional<Picture> draw_test_picture(const std::string& name, std::uint32_t width,
                                                       std::uint32_t height);
