// Stage 4: the split into planes, mirrored or not. No other stage handles the mirror.
#include "diag/log.h"
#include "pipeline/stages.h"

void MirrorStage::prepare(bool mirrored, std::size_t width, std::size_t height) {
  const kernels::Table& table = kernels::chosen_table();
  split_ = mirrored ? table.split_mirrored : table.split;
  mirrored_ = mirrored;
  width_ = width;
  height_ = height;
  if (mirrored) {
    before_.prepare(width, height);
    after_.prepare(width, height);
  }
}

void MirrorStage::row(const std::uint8_t* rgb, const PlaneRow& row) {
  before_.take_rgb(rgb);
  split_(rgb, row.plane[0], row.plane[1], row.plane[2], width_);
  after_.take(row);
}

void MirrorStage::report() const {
  if (!mirrored_) {
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
