// Stage 5: the optional ICC conversion, then the tone chain.
//
// Rows come one after the other, long before the log may speak of them: lines travel through all
// stages, and the log tells the story of the page stage by stage when it is through. So the stage
// has three moments: prepare (works out plans, opens profiles, no log), the rows (remembers what
// the log will want to say), and report (logs it, in the order a reader expects).
#pragma once

#include <cstddef>
#include <cstdint>

#include "pipeline/icc_transform.h"
#include "pipeline/stage_image.h"
#include "pipeline/tone_plan.h"

struct PrintOptions;

class AdjustStage {
 public:
  // `width` x `height` is the size of the image in this stage, in pixels; rows arrive in order, as
  // the image has them after the mirror, but `mirrored` rows come chunky and unmirrored and are
  // flipped by the split. `memory` may be null. `options` is looked at again by rows and report.
  void prepare(const PrintOptions& options, std::size_t width, std::size_t height, bool mirrored,
               IccCache* memory);

  // Row `y`: `rgb` holds width x 3 bytes (with kRowSlack behind) and may be overwritten; the three
  // plane rows (width bytes each, slack behind) receive the adjusted bytes, mirrored if so
  // prepared.
  void row(std::size_t y, std::uint8_t* rgb, std::uint8_t* plane0, std::uint8_t* plane1,
           std::uint8_t* plane2);

  // All lines and pictures of the stage, from its banner to "After adjustments". May be called
  // again for a further copy of the page.
  void report() const;

 private:
  const PrintOptions* options_ = nullptr;
  std::size_t width_ = 0;
  bool mirrored_ = false;
  IccConversion icc_;
  TonePlan tone_;
  StageImage before_;     // 05a_before_adjustments and adjust_before are the same pixels
  StageImage after_icc_;  // adjust_after_icc
  StageImage after_;      // adjust_after and 05b_after_adjustments
  std::uint8_t first_before_[3] = {0, 0, 0};
  std::uint8_t first_after_[3] = {0, 0, 0};
};
