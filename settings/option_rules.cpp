#include "settings/option_rules.h"

#include <cstdint>
#include <cstring>

#include "diag/log.h"
#include "settings/option_values.h"

namespace {

// Deliberate: some options belong to the queue, and key=value arguments cannot change them: the
// page size, cut waste, shrinking, legacy gamma, linear contrast, and the gamma and balance of each
// color.
enum class Reach { ppd_only, anywhere };

template <std::int32_t fallback>
std::int32_t number_or(const char* value) {
  return parse_option_int(value, fallback);
}

std::int32_t is_true(const char* value) { return std::strcmp(value, "True") == 0 ? 1 : 0; }

const char* unchanged(const char* value) { return value; }

// PPDs write "300x600dpi", users write "300x600".
const char* resolution_name(const char* value) {
  return std::strstr(value, "300x600") != nullptr ? "300x600" : "300x300";
}

struct NumberRule {
  const char* keyword;
  Reach reach;
  std::int32_t PrintOptions::*field;
  std::int32_t (*convert)(const char* value);
  const char* result;  // the log line up to the value
};

constexpr NumberRule number_rules[] = {
    {"StpBrightness", Reach::anywhere, &PrintOptions::brightness, number_or<0>,
     "      -> Brightness: "},
    {"StpContrast", Reach::anywhere, &PrintOptions::contrast, number_or<0>, "      -> Contrast: "},
    {"StpSaturation", Reach::anywhere, &PrintOptions::saturation, number_or<0>,
     "      -> Saturation: "},
    {"StpGamma", Reach::anywhere, &PrintOptions::gamma, number_or<1000>, "      -> Gamma: "},
    {"StpLegacyDyesubGamma", Reach::ppd_only, &PrintOptions::legacy_gamma, is_true,
     "      -> Legacy Gamma: "},
    {"StpNoCutWaste", Reach::ppd_only, &PrintOptions::no_cut_waste, is_true,
     "      -> No Cut Waste: "},
    {"StpCyanGamma", Reach::ppd_only, &PrintOptions::cyan_gamma, number_or<1000>,
     "      -> Cyan Gamma: "},
    {"StpMagentaGamma", Reach::ppd_only, &PrintOptions::magenta_gamma, number_or<1000>,
     "      -> Magenta Gamma: "},
    {"StpYellowGamma", Reach::ppd_only, &PrintOptions::yellow_gamma, number_or<1000>,
     "      -> Yellow Gamma: "},
    {"StpCyanBalance", Reach::ppd_only, &PrintOptions::cyan_balance, number_or<1000>,
     "      -> Cyan Balance: "},
    {"StpMagentaBalance", Reach::ppd_only, &PrintOptions::magenta_balance, number_or<1000>,
     "      -> Magenta Balance: "},
    {"StpYellowBalance", Reach::ppd_only, &PrintOptions::yellow_balance, number_or<1000>,
     "      -> Yellow Balance: "},
    {"StpLinearContrast", Reach::ppd_only, &PrintOptions::linear_contrast, is_true,
     "      -> Linear Contrast: "},
};

struct TextRule {
  const char* keyword;
  Reach reach;
  std::span<char> (*field)();
  const char* (*convert)(const char* value);
  const char* result;
};

constexpr TextRule text_rules[] = {
    {"PageSize", Reach::ppd_only, text_field<&PrintOptions::ppd_paper_name>, unchanged,
     "      -> Original PPD paper name: "},
    {"PageRegion", Reach::ppd_only, text_field<&PrintOptions::ppd_paper_name>, unchanged,
     "      -> Original PPD paper name: "},
    {"StpImageType", Reach::anywhere, text_field<&PrintOptions::image_type>, unchanged,
     "      -> Image Type: "},
    {"StpColorCorrection", Reach::anywhere, text_field<&PrintOptions::color_correction>, unchanged,
     "      -> Color Correction: "},
    {"ColorModel", Reach::anywhere, text_field<&PrintOptions::color_model>, unchanged,
     "      -> Color Model: "},
    {"StpColorPrecision", Reach::anywhere, text_field<&PrintOptions::color_precision>, unchanged,
     "      -> Color Precision: "},
    {"Resolution", Reach::anywhere, text_field<&PrintOptions::resolution>, resolution_name,
     "      -> Resolution: "},
    {"StpLaminate", Reach::anywhere, text_field<&PrintOptions::overcoat>, unchanged,
     "      -> Overcoat: "},
    {"StpiShrinkOutput", Reach::ppd_only, text_field<&PrintOptions::shrink_output>, unchanged,
     "      -> Shrink Output: "},
};

// Each edge has two keywords: its side, and its letter in the printer's drawings.
struct BleedRule {
  const char* keyword;
  Reach reach;
  std::int32_t PrintOptions::*field;
  const char* result;
};

constexpr BleedRule bleed_rules[] = {
    {"BleedTop", Reach::anywhere, &PrintOptions::bleed_top_px, "      -> Bleed Top (A) from "},
    {"BleedA", Reach::anywhere, &PrintOptions::bleed_top_px, "      -> Bleed Top (A) from "},
    {"BleedBottom", Reach::anywhere, &PrintOptions::bleed_bottom_px,
     "      -> Bleed Bottom (B) from "},
    {"BleedB", Reach::anywhere, &PrintOptions::bleed_bottom_px, "      -> Bleed Bottom (B) from "},
    {"BleedLeft", Reach::anywhere, &PrintOptions::bleed_left_px, "      -> Bleed Left (C) from "},
    {"BleedC", Reach::anywhere, &PrintOptions::bleed_left_px, "      -> Bleed Left (C) from "},
    {"BleedRight", Reach::anywhere, &PrintOptions::bleed_right_px,
     "      -> Bleed Right (D) from "},
    {"BleedD", Reach::anywhere, &PrintOptions::bleed_right_px, "      -> Bleed Right (D) from "},
};

void apply(const NumberRule& rule, OptionSource source, const char* value) {
  const std::int32_t number = rule.convert(value);
  current_options.*rule.field = number;
  if (source != OptionSource::ppd) {
    return;
  }
  if (rule.field == &PrintOptions::gamma) {
    log_line("%s%d (%.3f)", rule.result, number, number / 1000.0);
  } else {
    log_line("%s%d", rule.result, number);
  }
}

void apply(const TextRule& rule, OptionSource source, const char* value) {
  const std::span<char> field = rule.field();
  copy_text(field, rule.convert(value));
  if (source == OptionSource::ppd) {
    log_line("%s%s", rule.result, field.data());
  }
}

void apply(const BleedRule& rule, OptionSource source, const char* value) {
  const double mm = option_millimeters(value);
  const std::int32_t pixels = millimeters_to_pixels(mm);
  current_options.*rule.field = pixels;
  log_line("%s%s: %.2fmm = %dpx (delta)", rule.result,
           source == OptionSource::ppd ? "PPD" : "command line", mm, pixels);
}

// True when one of `rules` is for `keyword`, and was applied.
template <typename Rules>
bool apply_one_of(const Rules& rules, OptionSource source, const char* keyword, const char* value) {
  for (const auto& rule : rules) {
    const bool allowed = source == OptionSource::ppd || rule.reach == Reach::anywhere;
    if (allowed && std::strcmp(keyword, rule.keyword) == 0) {
      apply(rule, source, value);
      return true;
    }
  }
  return false;
}

}  // namespace

bool apply_option(OptionSource source, const char* keyword, const char* value) {
  return apply_one_of(number_rules, source, keyword, value) ||
         apply_one_of(text_rules, source, keyword, value) ||
         apply_one_of(bleed_rules, source, keyword, value);
}
