// Several pictures side by side on one, each with its name: the sheets of a job, settings to be
// compared, stages to be followed.
#pragma once

#include <string>
#include <vector>

#include "apps/image/picture.h"

class ContactSheet {
 public:
  // Rows of `columns` pictures that are all `width` pixels wide.
  ContactSheet(std::uint32_t columns, std::uint32_t width) : columns_(columns), width_(width) {}

  // Puts a picture of 8-bit colors, as wide as said, behind the others. A caption that is wider
  // than its picture is cut. False, and nothing is added, when all of them together would be more
  // than kMostPixels.
  [[nodiscard]] bool add(const std::string& caption, Picture picture);

  [[nodiscard]] std::size_t count() const { return tiles_.size(); }

  // All of them on gray; there must be one at least.
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
