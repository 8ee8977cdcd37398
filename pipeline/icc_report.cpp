// The log lines of the color conversion, in the order in which a whole page would be converted.
#include "pipeline/icc_report.h"

#include <algorithm>

#include "diag/log.h"
#include "settings/print_options.h"

namespace {

using Outcome = IccSetup::Outcome;
using Target = IccSetup::Target;

// The check for a change samples one pixel of the image out of this many.
constexpr std::size_t kSampleStep = 1000;

// Returns whether there is a source and a target profile, from a file or built in.
bool log_profiles(const PrintOptions& options, const IccSetup& setup) {
  log_line("K905-1: Loading source profile: %s", options.color_base_profile_path);
  if (setup.source == IccSetup::Profile::kMissing) {
    log_line("K905-1: WARNING: Source profile not found, using sRGB");
  } else if (setup.source == IccSetup::Profile::kCannotOpen) {
    log_line("K905-1: WARNING: Cannot open source profile, using sRGB");
  }
  if (setup.outcome == Outcome::kNoSourceProfile) {
    log_line("K905-1: ERROR: Failed to create source profile");
    return false;
  }
  log_line("K905-1: Loading target profile: %s", options.icc_profile_path);
  if (setup.target == IccSetup::Profile::kMissing) {
    log_line("K905-1: WARNING: Target profile not found, using sRGB");
  } else if (setup.target == IccSetup::Profile::kCannotOpen) {
    log_line("K905-1: WARNING: Cannot open target profile, using sRGB");
  }
  if (setup.outcome == Outcome::kNoTargetProfile) {
    log_line("K905-1: ERROR: Failed to create target profile");
    return false;
  }
  return true;
}

void log_second_try(const IccSetup& setup) {
  log_line("K905-1: ERROR: Failed to create ICC transform");
  log_line("K905-1: Testing with simple color...");
  if (setup.second_try_worked) {
    log_line("K905-1: Test transform works: Red -> [%d,%d,%d]", setup.second_try_red[0],
             setup.second_try_red[1], setup.second_try_red[2]);
  }
}

void log_samples(const IccSetup& setup) {
  log_line("K905-1: Testing transform with sample colors:");
  for (std::size_t i = 0; i < std::size(kIccSampleColors); ++i) {
    const char* name = kIccSampleColors[i].name;
    const Rgb& in = kIccSampleColors[i].rgb;
    const IccOutput& out = setup.samples[i];
    if (setup.target_kind == Target::kRgb) {
      log_line("  %s: [%3d,%3d,%3d] -> [%3d,%3d,%3d] (ΔR=%+3d, ΔG=%+3d, ΔB=%+3d)", name, in[0],
               in[1], in[2], out[0], out[1], out[2], out[0] - in[0], out[1] - in[1],
               out[2] - in[2]);
    } else if (setup.target_kind == Target::kCmyk) {
      log_line("  %s: RGB[%3d,%3d,%3d] -> CMYK[%3d,%3d,%3d,%3d]", name, in[0], in[1], in[2], out[0],
               out[1], out[2], out[3]);
    }
  }
}

}  // namespace

// ---- While the rows pass ------------------------------------------------------------------------

bool IccReport::prepare(std::size_t width, std::size_t height) {
  width_ = width;
  height_ = height;
  if (width > 0) {
    const std::size_t center = width * height / 2;
    center_row_ = center / width;
    center_column_ = center % width;
  }
  samples_ = make_buffer<Rgb>(width * height / kSampleStep + 1);
  return samples_ != nullptr;
}

void IccReport::take_before(const PlaneRow& row) {
  if (row_ == 0) {
    first_before_ = pixel_at(row, 0);
  }
  if (row_ == center_row_) {
    center_before_ = pixel_at(row, center_column_);
  }
}

void IccReport::take_after(const PlaneRow& row) {
  if (row_ == 0) {
    first_after_ = pixel_at(row, 0);
  }
  if (row_ == center_row_) {
    center_after_ = pixel_at(row, center_column_);
  }
  const std::size_t first = row_ * width_;
  ++row_;
  if (samples_ == nullptr) {
    return;
  }
  for (; samples_taken_ * kSampleStep < first + width_; ++samples_taken_) {
    samples_[samples_taken_] = pixel_at(row, samples_taken_ * kSampleStep - first);
  }
}

// ---- After the page -----------------------------------------------------------------------------

void IccReport::log(const PrintOptions& options, const IccTransform& icc) const {
  log_line("K905-1: Before ICC - Pixel[0]: R=%d, G=%d, B=%d", first_before_[0], first_before_[1],
           first_before_[2]);
  log_line("K905-1: Before ICC - Pixel[center]: R=%d, G=%d, B=%d", center_before_[0],
           center_before_[1], center_before_[2]);
  if (options.icc_profile_name[0] == '\0') {
    log_line("K905-1: ICC conversion not enabled or no profile specified");
    return;
  }
  log_start(options);
  bool converted = false;
  if (log_profiles(options, icc.setup())) {
    converted = log_transform(icc);
    log_line("K905-1: Target profile closed");
    log_line("K905-1: Source profile closed");
  }
  if (!converted) {
    log_line("K905-1: WARNING: ICC conversion failed, using original colors");
    return;
  }
  log_line("K905-1: After ICC - Pixel[0]: R=%d, G=%d, B=%d", first_after_[0], first_after_[1],
           first_after_[2]);
  log_line("K905-1: After ICC - Pixel[center]: R=%d, G=%d, B=%d", center_after_[0],
           center_after_[1], center_after_[2]);
}

void IccReport::log_start(const PrintOptions& options) const {
  log_line("K905-1: ===== STARTING ICC CONVERSION =====");
  log_line("K905-1: Source profile: %s", options.color_base_profile_path);
  log_line("K905-1: Target profile: %s", options.icc_profile_path);
  log_line("K905-1: Image size: %dx%d", static_cast<int>(width_), static_cast<int>(height_));
  log_line("K905-1: Rendering intent: %s", options.icc_intent);
  log_line("K905-1: Color base: %s", options.color_base);
  log_line("K905-1: Before conversion center pixel: R=%d, G=%d, B=%d", center_before_[0],
           center_before_[1], center_before_[2]);
}

// Returns whether the colors were converted.
bool IccReport::log_transform(const IccTransform& icc) const {
  const IccSetup& setup = icc.setup();
  log_line("K905-1: Source color space: %s", setup.source_space);
  log_line("K905-1: Target color space: %s", setup.target_space);
  log_line("%s", setup.intent_log);
  log_line("K905-1: Creating transform: %s -> %s", setup.source_space, setup.target_space);
  if (setup.outcome == Outcome::kUnsupported) {
    log_line("K905-1: ERROR: Unsupported color space conversion");
    log_line("K905-1: Source: %s, Target: %s", setup.source_space, setup.target_space);
    return false;
  }
  log_line("%s", setup.target_log);
  if (setup.outcome == Outcome::kNoTransform) {
    log_second_try(setup);
    return false;
  }
  log_line("K905-1: ICC transform created successfully");
  log_samples(setup);
  if (samples_ == nullptr) {
    log_line("K905-1: ERROR: Failed to allocate conversion buffers");
    log_line("K905-1: Transform deleted");
    return false;
  }
  log_bulk_conversion(icc);
  log_change();
  log_line("K905-1: ICC color conversion completed");
  log_line("K905-1: ===== END ICC CONVERSION =====");
  log_line("K905-1: Transform deleted");
  return true;
}

void IccReport::log_bulk_conversion(const IccTransform& icc) const {
  log_line("K905-1: Preparing input data...");
  log_line("K905-1: First pixel in input buffer: R=%d, G=%d, B=%d", first_before_[0],
           first_before_[1], first_before_[2]);
  log_line("K905-1: Performing bulk color conversion...");
  log_line("K905-1: Bulk conversion completed");
  // An empty image has no first pixel, and its output buffer is all zeros.
  const IccOutput out = row_ > 0 ? icc.output_for(first_before_) : IccOutput{};
  switch (icc.setup().target_kind) {
    case Target::kRgb:
      log_line("K905-1: First pixel in output buffer: R=%d, G=%d, B=%d", out[0], out[1], out[2]);
      log_line("K905-1: Processing converted data...");
      log_line("K905-1: Copied RGB data back to channels");
      return;
    case Target::kCmyk:
      log_line("K905-1: First pixel in output buffer: C=%d, M=%d, Y=%d, K=%d", out[0], out[1],
               out[2], out[3]);
      log_line("K905-1: Processing converted data...");
      log_line("K905-1: Converting CMYK to CMY for printer");
      return;
    case Target::kGray:
      // Deliberate: a gray page has no value to show here, and the line is not ended; scripts that
      // read these logs expect it.
      log_text("K905-1: First pixel in output buffer: ");
      log_line("K905-1: Processing converted data...");
      return;
  }
}

void IccReport::log_change() const {
  log_line("K905-1: After conversion center pixel: R=%d, G=%d, B=%d", center_after_[0],
           center_after_[1], center_after_[2]);
  log_line("K905-1: Change: ΔR=%+3d, ΔG=%+3d, ΔB=%+3d", center_after_[0] - center_before_[0],
           center_after_[1] - center_before_[1], center_after_[2] - center_before_[2]);
  if (center_after_ != center_before_) {
    return;
  }
  log_line("K905-1: WARNING: No change detected in center pixel!");
  // Deliberate: compared with the center pixel's old color and not with the sampled pixel's own;
  // the number shows whether the page has only one color, not what the conversion changed.
  const auto differing =
      std::count_if(samples_.get(), samples_.get() + samples_taken_,
                    [this](const Rgb& sample) { return sample != center_before_; });
  log_line("K905-1: Changed pixels in sample: %d", static_cast<int>(differing));
}
