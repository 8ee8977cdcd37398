// Several images side by side in one, each with a caption: the sheets of a job, settings to
// compare, the stages of the filter.
#pragma once

#include <string>
#include <vector>

#include "apps/image/picture.h"

namespace k905 {

class ContactSheet {
 public:
  // Rows of `columns` images, each `width` pixels wide.
  ContactSheet(std::uint32_t columns, std::uint32_t width) : columns_(columns), width_(width) {}

  // Appends an image of 8-bit colors with the width given above. A caption that is wider than its
  // image is cut. False, and nothing is appended, if all images together would exceed kMaxPixels.
  [[nodiscard]] bool add(const std::string& caption, Picture picture);

  [[nodiscard]] std::size_t count() const { return tiles_.size(); }

  // All images on a gray background; there must be at least one.
  [[nodiscard]] Picture picture() const;

 private:
  struct Tile {
    std::string caption;
    Picture picture;
  };

  std::uint32_t columns_;
  std::uint32_t width_;
  std::uint32_t tallest_ = 0;
  std::vector<Tile> tiles_;
};

}  // namespace k905
