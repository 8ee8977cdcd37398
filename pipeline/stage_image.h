// A debug image of one stage: collects the stage's rows as planes and saves them. Does nothing, and
// holds no memory, unless the filter was started by hand.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pipeline/planes.h"

class StageImage {
 public:
  // Makes room for width x height pixels when images are wanted. Without memory the image is left
  // out silently: it never fails a page.
  void prepare(std::size_t width, std::size_t height);

  // The next row, in order from the top: chunky RGB or three plane rows.
  void take_rgb(const std::uint8_t* rgb);
  void take(const PlaneRow& row);

  // The next column, from the left: a row of `height` pixels, the last one at the top.
  void take_rotated(const PlaneRow& row);

  // Saves the collected image under `tag` (save_debug_image). Does nothing if images are not
  // wanted.
  void save(const char* tag) const;

 private:
  [[nodiscard]] bool is_wanted() const { return planes_.plane[0] != nullptr; }

  PlaneSet planes_;
  std::size_t width_ = 0;
  std::size_t height_ = 0;
  std::size_t taken_ = 0;
};
