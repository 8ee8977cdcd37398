#include "diag/log.h"
#include "pipeline/stages.h"

void MirrorStage::prepare(bool wanted, std::size_t width, std::size_t height) {
  wanted_ = wanted;
  width_ = width;
  height_ = height;
  if (wanted) {
    before_.prepare(width, height);
    after_.prepare(width, height);
  }
}

void MirrorStage::row(std::size_t y, const std::uint8_t* rgb) {
  if (wanted_) {
    before_.take_rgb(y, rgb);
    after_.take_rgb(y, rgb, /*mirrored=*/true);
  }
}

void MirrorStage::report() const {
  if (!wanted_) {
    return;
  }
  log_line("K905-1: === STAGE 4: Mirror flip ===");
  before_.save("04a_before_mirror");
  for (int plane = 0; plane < 3; ++plane) {
    log_line("K905-1: Applying horizontal mirror flip: %dx%d", static_cast<int>(width_),
             static_cast<int>(height_));
  }
  after_.save("04b_after_mirror");
}
