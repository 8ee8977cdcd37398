// The one settings record of a run. Filled at start-up in a fixed order (built-in defaults, the
// PPD's default choices, the job's arguments), then, page by page, from the raster header. There is
// one instance, which every part of the filter reads; it is never reset and never copied.
#pragma once

#include <cstdint>

struct PaperConfig;

struct PrintOptions {
  // The current paper: a row of paper_sizes, never null in normal operation.
  const PaperConfig* paper_config;
  std::int32_t rotate_90 = 0;         // rotate the image by 90 degrees within the canvas
  char ppd_paper_name[64] = "";       // PageSize / PageRegion choice of the PPD
  std::int32_t interlace = 0;         // 1 at 300x600 dpi
  std::int32_t interlace_factor = 1;  // vertical factor of the source, 1 or 2
  std::int32_t mirror = 1;            // left-right flip; nothing switches it off

  // Tone settings in thousandths: 1000 is 1.0.
  std::int32_t brightness = 0;
  std::int32_t contrast = 0;
  std::int32_t saturation = 0;
  std::int32_t gamma = 1000;

  std::int32_t copies = 1;
  char color_model[32] = "RGB";
  char color_precision[32] = "Normal";  // only logged
  char image_type[32] = "Photo";        // only logged
  char color_correction[32] = "None";
  char resolution[32] = "300x300";
  char overcoat[32] = "Glossy";
  std::int32_t legacy_gamma = 0;
  std::int32_t no_cut_waste = 0;      // only logged
  char shrink_output[32] = "Shrink";  // only logged

  // Per channel, in thousandths; cyan acts on the first plane, magenta on the second, yellow on the
  // third.
  std::int32_t cyan_gamma = 1000;
  std::int32_t magenta_gamma = 1000;
  std::int32_t yellow_gamma = 1000;
  std::int32_t cyan_balance = 1000;
  std::int32_t magenta_balance = 1000;
  std::int32_t yellow_balance = 1000;
  std::int32_t linear_contrast = 0;

  char icc_profile_name[128] = "";  // as the user gave it; an empty name means no conversion
  char icc_profile_path[512] = "";  // the printer's profile, target of the conversion
  std::int32_t icc_enabled = 0;
  char icc_intent[32] = "Perceptual";
  char color_base_profile_name[128] = "";
  char color_base_profile_path[512] = "";  // source of the conversion
  char color_base[16] = "";                // "Normal" or "Vivid"

  char ribbon_size[16] = "";  // "6x4" or "6x8"
  std::int32_t ribbon_detected = 0;
  std::int32_t cache_optimization = 1;  // only logged

  // Added to the paper's own bleed, in pixels at 300 dpi.
  std::int32_t bleed_top_px = 0;
  std::int32_t bleed_bottom_px = 0;
  std::int32_t bleed_left_px = 0;
  std::int32_t bleed_right_px = 0;
};

// Ready before main: constant-initialized with the defaults above and the "default" paper row.
extern PrintOptions current_options;
