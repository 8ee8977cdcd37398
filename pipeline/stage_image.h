// A tap on the road of the lines: collects one stage's rows as planes and saves them as a picture.
// Does nothing, and holds no memory, unless the filter was started by hand.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pipeline/planes.h"

class StageImage {
 public:
  // Gets ready for width x height pixels when pictures are wanted. When memory is short, the
  // picture is left out silently; a picture never fails a page.
  void prepare(std::size_t width, std::size_t height);

  [[nodiscard]] bool wanted() const { return planes_.plane[0] != nullptr; }

  // Row `y`, chunky RGB; `mirrored` stores it last pixel first.
  void take_rgb(std::size_t y, const std::uint8_t* rgb, bool mirrored = false);

  // Row `y`, already in planes.
  void take_planes(std::size_t y, const std::uint8_t* plane0, const std::uint8_t* plane1,
                   const std::uint8_t* plane2);

  // Saves what was taken as `tag` (save_debug_image); nothing when not wanted.
  void save(const char* tag) const;

 private:
  PlaneSet planes_;
  std::size_t width_ = 0;
  std::size_t height_ = 0;
};
