#include "settings/summary.h"

#include "diag/log.h"
#include "settings/print_options.h"

void print_configuration_summary() {
  const PrintOptions& options = current_options;
  log_line("K905-1: Current configuration summary:");
  log_line("  Brightness: %d (%.2f)", options.brightness, options.brightness / 1000.0);
  log_line("  Contrast: %d (%.2f)", options.contrast, options.contrast / 1000.0);
  log_line("  Saturation: %d (%.2f)", options.saturation, options.saturation / 1000.0);
  log_line("  Gamma: %d (%.3f)", options.gamma, options.gamma / 1000.0);
  log_line("  Copies: %d", options.copies);
  log_line("  Color Model: %s", options.color_model);
  log_line("  Color Precision: %s", options.color_precision);
  log_line("  Image Type: %s", options.image_type);
  log_line("  Color Correction: %s", options.color_correction);
  log_line("  Resolution: %s", options.resolution);
  log_line("  Overcoat: %s", options.overcoat);
  log_line("  Legacy Gamma: %d", options.legacy_gamma);
  log_line("  No Cut Waste: %d", options.no_cut_waste);
  log_line("  Shrink Output: %s", options.shrink_output);
  log_line("  ICC Enabled: %s", options.icc_enabled != 0 ? "Yes" : "No");
  if (options.icc_enabled != 0) {
    log_line("  ICC Profile: %s", options.icc_profile_path);
    log_line("  ICC Rendering Intent: %s", options.icc_intent);
  }
  log_line("  Ribbon Size: %s", options.ribbon_size);
  log_line("  Cache Optimization: %s", options.cache_optimization != 0 ? "ENABLED" : "DISABLED");
}
