// Generated test images: the same bytes on every machine, for tests and for printing without a
// photo.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "apps/image/picture.h"

struct TestPicture {
  const char* name;
  const char* shows;  // a short description
  k905::Picture (*draw)(std::uint32_t width, std::uint32_t height);
};
[[nodiscard]] std::span<const TestPicture> test_pictures();

// The test image with this name in width x height pixels, 8-bit color; null for an unknown name.
[[nodiscard]] std::optional<k905::Picture> draw_test_picture(const std::string& name,
                                                             std::uint32_t width,
                                                             std::uint32_t height);
