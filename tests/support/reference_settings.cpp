// The settings: PPD file, option string, arguments, flags, profiles.
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>

#include "tests/support/reference_state.h"

namespace reference {
namespace {

constexpr int kMaxInt = std::numeric_limits<int>::max();
constexpr int kMinInt = std::numeric_limits<int>::min();

int number(const std::string& text) {
  const long value = std::strtol(text.c_str(), nullptr, 10);
  return static_cast<int>(std::clamp<long>(value, kMinInt, kMaxInt));
}

int number_or(const std::string& text, int for_none) {
  return text == "None" ? for_none : number(text);
}

int pixels(double mm) {
  const double px = mm * 300.0 / 25.4 + 0.5;
  if (std::isnan(px)) {
    return 0;
  }
  if (px >= 2147483647.0) {
    return kMaxInt;
  }
  if (px <= -2147483648.0) {
    return kMinInt;
  }
  return static_cast<int>(px);
}

std::string resolution_of(const std::string& value) {
  return value.find("300x600") != std::string::npos ? "300x600" : "300x300";
}

// Longer texts are truncated to the size of their field.
std::string truncated(const std::string& text, std::size_t size) { return text.substr(0, size); }

bool exists(const std::string& path) {
  struct stat ignored {};
  return stat(path.c_str(), &ignored) == 0;
}

std::vector<std::string> tokens_of(const std::string& text) {
  std::vector<std::string> tokens;
  std::string token;
  for (const char c : text + " ") {
    if (c != ' ' && c != '\t') {
      token += c;
    } else if (!token.empty()) {
      tokens.push_back(token);
      token.clear();
    }
  }
  return tokens;
}

struct NumberOption {
  const char* keyword;
  const char* label;
  int Settings::*field;
  int none;  // the number for "None"; kTrueOrNot: a switch, 1 for "True" and 0 for any other text
  bool queue_only;  // no argument sets it
};
constexpr int kTrueOrNot = -1;
const NumberOption kNumberOptions[] = {
    {"StpBrightness", "Brightness", &Settings::brightness, 0, false},
    {"StpContrast", "Contrast", &Settings::contrast, 0, false},
    {"StpSaturation", "Saturation", &Settings::saturation, 0, false},
    {"StpGamma", "Gamma", &Settings::gamma, 1000, false},
    {"StpLegacyDyesubGamma", "Legacy Gamma", &Settings::legacy_gamma, kTrueOrNot, true},
    {"StpNoCutWaste", "No Cut Waste", &Settings::no_cut_waste, kTrueOrNot, true},
    {"StpCyanGamma", "Cyan Gamma", &Settings::cyan_gamma, 1000, true},
    {"StpMagentaGamma", "Magenta Gamma", &Settings::magenta_gamma, 1000, true},
    {"StpYellowGamma", "Yellow Gamma", &Settings::yellow_gamma, 1000, true},
    {"StpCyanBalance", "Cyan Balance", &Settings::cyan_balance, 1000, true},
    {"StpMagentaBalance", "Magenta Balance", &Settings::magenta_balance, 1000, true},
    {"StpYellowBalance", "Yellow Balance", &Settings::yellow_balance, 1000, true},
    {"StpLinearContrast", "Linear Contrast", &Settings::linear_contrast, kTrueOrNot, true},
};

struct TextOption {
  const char* keyword;
  const char* label;
  std::string Settings::*field;
  std::size_t size;
  bool queue_only;
};
const TextOption kTextOptions[] = {
    {"PageSize", "Original PPD paper name", &Settings::ppd_paper_name, 63, true},
    {"PageRegion", "Original PPD paper name", &Settings::ppd_paper_name, 63, true},
    {"StpImageType", "Image Type", &Settings::image_type, 31, false},
    {"StpColorCorrection", "Color Correction", &Settings::color_correction, 31, false},
    {"ColorModel", "Color Model", &Settings::color_model, 31, false},
    {"StpColorPrecision", "Color Precision", &Settings::color_precision, 31, false},
    {"Resolution", "Resolution", &Settings::resolution, 31, false},
    {"StpLaminate", "Overcoat", &Settings::overcoat, 31, false},
    {"StpiShrinkOutput", "Shrink Output", &Settings::shrink_output, 31, true},
};

struct BleedOption {
  const char* keyword;
  const char* other_keyword;
  const char* label;
  int Settings::*field;
};
const BleedOption kBleedOptions[] = {
    {"BleedTop", "BleedA", "Top (A)", &Settings::bleed_top},
    {"BleedBottom", "BleedB", "Bottom (B)", &Settings::bleed_bottom},
    {"BleedLeft", "BleedC", "Left (C)", &Settings::bleed_left},
    {"BleedRight", "BleedD", "Right (D)", &Settings::bleed_right},
};

const std::map<std::string, int Settings::*> kNumberFlags = {
    {"--contrast", &Settings::contrast},
    {"--saturation", &Settings::saturation},
    {"--brightness", &Settings::brightness},
    {"--gamma", &Settings::gamma},
    {"--copies", &Settings::copies}};
const std::map<std::string, std::string Settings::*> kTextFlags = {
    {"--color-model", &Settings::color_model},
    {"--color-precision", &Settings::color_precision},
    {"--image-type", &Settings::image_type},
    {"--color-correction", &Settings::color_correction},
    {"--icc-intent", &Settings::icc_intent}};

}  // namespace

std::string PlainFilter::resolve_path(const std::string& path) const {
  return !path.empty() && path[0] != '/' ? job_.working_folder + "/" + path : path;
}

bool PlainFilter::parse_profile_name(const std::string& value, std::string& name) {
  static const std::vector<std::pair<std::string, std::string>> choices = {
      {"sRGB", "sRGB.icc"},
      {"AdobeRGB", "AdobeRGB1998.icc"},
      {"AppleRGB", "AppleRGB.icc"},
      {"PhotoRGB", "PhotoRGB.icc"},
      {"K905RGB", "pm-905-wd-251126-5.icm"},
      {"PM-RV", "pm-rv-wd-251202-5.icm"},
      {"PM-RS", "pm-rs-wd-251125-2.icm"}};
  log_message("K905-1: Parsing ICC option value: %s", value.c_str());
  for (const auto& [choice, file] : choices) {
    if (value == choice) {
      log_message("K905-1: Mapped choice to file: %s", file.c_str());
      name = file;
      return true;
    }
  }
  const std::string marker = "ICCPROFILE (";
  const std::size_t at = value.find(marker);
  if (at == std::string::npos) {
    log_message("K905-1: ICCPROFILE marker not found, not a known choice name");
    return false;
  }
  const std::size_t begin = at + marker.size();
  const std::size_t end = value.find(')', begin);
  if (end == std::string::npos) {
    log_message("K905-1: ICCPROFILE closing parenthesis not found");
    return false;
  }
  if (end == begin) {
    log_message("K905-1: ICCPROFILE name is empty");
    return false;
  }
  name = value.substr(begin, end - begin);
  log_message("K905-1: Extracted ICC profile name: %s", name.c_str());
  return true;
}

bool PlainFilter::find_profile(const std::string& name, std::string& path) {
  if (name.empty()) {
    return false;
  }
  log_message("K905-1: Searching for ICC profile: %s", name.c_str());
  if (name[0] == '/' && exists(name)) {
    path = truncated(name, 511);
    log_message("K905-1: Found ICC profile at absolute path: %s", name.c_str());
    return true;
  }
  for (const char* folder : {"/Library/ColorSync/Profiles/", "/usr/local/share/color/icc/",
                             "/opt/homebrew/share/color/icc/", "./", "/usr/share/color/icc/",
                             "/usr/share/color/icc/colord/"}) {
    for (const char* extension : {"", ".icc", ".icm"}) {
      const std::string candidate = folder + name + extension;
      if (exists(resolve_path(candidate))) {
        path = truncated(candidate, 511);
        log_message("K905-1: Found ICC profile at: %s", candidate.c_str());
        return true;
      }
    }
  }
  log_message("K905-1: ICC profile not found: %s", name.c_str());
  return false;
}

// ---- PPD ----

void PlainFilter::read_ppd() {
  if (!job_.ppd_path) {
    log_message("K905-1: PPD environment variable not set");
    return;
  }
  if (!job_.ppd_file) {
    log_message("K905-1: Failed to open PPD file: %s", job_.ppd_path->c_str());
    return;
  }
  const PpdDescription& ppd = *job_.ppd_file;
  log_message("K905-1: Parsing PPD file: %s", job_.ppd_path->c_str());
  log_message("  Product: %s", ppd.product.value_or("N/A").c_str());
  log_message("  Manufacturer: %s", ppd.manufacturer.value_or("N/A").c_str());
  log_message("  ModelName: %s", ppd.model_name.value_or("N/A").c_str());
  for (const PpdGroup& group : ppd.groups) {
    log_message("  Group: %s", group.name.c_str());
    for (const PpdOption& option : group.options) {
      log_message("    Option: %s = %s", option.keyword.c_str(), option.default_choice.c_str());
      apply_ppd_option(option.keyword, option.default_choice);
    }
  }
  if (!settings.icc_enabled && find_profile("sRGB.icc", settings.icc_path)) {
    settings.icc_enabled = true;
    log_message("K905-1: Using default ICC profile: %s", settings.icc_path.c_str());
  }
  log_message("K905-1: PPD parsing complete");
  log_message("K905-1: ICC Profile status: %s", settings.icc_enabled ? "ENABLED" : "DISABLED");
}

void PlainFilter::apply_ppd_option(const std::string& keyword, const std::string& value) {
  Settings& s = settings;
  if (keyword == "ICCProfile") {
    log_message("K905-1: ICC Profile specified: %s", value.c_str());
    s.icc_enabled = true;
    s.icc_name = truncated(value, 127);
    const bool has_extension =
        value.find(".icc") != std::string::npos || value.find(".icm") != std::string::npos;
    s.icc_path = truncated("/usr/share/color/icc/" + value + (has_extension ? "" : ".icc"), 511);
    const bool found = find_profile(value, s.icc_path);
    if (found) {
      log_message("      -> Resolved Path: %s", s.icc_path.c_str());
    } else {
      log_message("      -> Assumed Path: %s", s.icc_path.c_str());
    }
    log_message("      -> ICC Enabled: Yes");
    log_message("      -> ICC Name: %s", s.icc_name.c_str());
    log_message("      -> Note: Will use sRGB as fallback if file not found");
  } else if (keyword == "ColorBase") {
    const bool vivid = value == "Vivid";
    s.color_base = vivid ? "Vivid" : "Normal";
    s.color_base_name = vivid ? "AdobeRGB.icc" : "sRGB.icc";
    s.color_base_path = "/Library/ColorSync/Profiles/" + s.color_base_name;
    s.icc_enabled = true;
    find_profile(s.color_base_name, s.color_base_path);
    log_message("      -> Color Base: %s", s.color_base.c_str());
  } else {
    apply_option(keyword, value, true);
  }
}

void PlainFilter::apply_option(const std::string& keyword, const std::string& value,
                               bool from_ppd) {
  Settings& s = settings;
  for (const NumberOption& option : kNumberOptions) {
    if (keyword != option.keyword || (option.queue_only && !from_ppd)) {
      continue;
    }
    int& field = s.*option.field;
    field = option.none == kTrueOrNot ? (value == "True" ? 1 : 0) : number_or(value, option.none);
    if (from_ppd && keyword == "StpGamma") {
      log_message("      -> Gamma: %d (%.3f)", field, field / 1000.0);
    } else if (from_ppd) {
      log_message("      -> %s: %d", option.label, field);
    }
  }
  for (const TextOption& option : kTextOptions) {
    if (keyword != option.keyword || (option.queue_only && !from_ppd)) {
      continue;
    }
    std::string& field = s.*option.field;
    field = keyword == "Resolution" ? resolution_of(value) : truncated(value, option.size);
    if (from_ppd) {
      log_message("      -> %s: %s", option.label, field.c_str());
    }
  }
  for (const BleedOption& option : kBleedOptions) {
    if (keyword == option.keyword || keyword == option.other_keyword) {
      const double mm = std::strtod(value.c_str(), nullptr);
      s.*option.field = pixels(mm);
      log_message("      -> Bleed %s from %s: %.2fmm = %dpx (delta)", option.label,
                  from_ppd ? "PPD" : "command line", mm, s.*option.field);
    }
  }
}

// ---- arguments ----

void PlainFilter::read_arguments() {
  log_message("K905-1: Parsing command line options:");
  const int argc = static_cast<int>(arguments_.size());
  if (argc >= 6 && !arguments_[5].empty()) {
    log_message("K905-1: argv[5] (options) first 200 chars: %.200s", arguments_[5].c_str());
    for (const std::string& token : tokens_of(arguments_[5])) {
      const std::size_t equals = token.find('=');
      if (equals == std::string::npos || equals == 0) {
        continue;
      }
      const std::string key = token.substr(0, equals);
      const std::string value = token.substr(equals + 1);
      if (key == "ICCProfile") {
        log_message("    PPD option: %s=%s", key.c_str(), value.c_str());
        apply_profile_choice(value);
        break;
      }
    }
  }
  for (int i = 1; i < argc; ++i) {
    std::string& argument = arguments_[static_cast<std::size_t>(i)];
    log_message("  Arg[%d]: %s", i, argument.c_str());
    if (i == 5) {
      continue;
    }
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos) {
      if (known_flag(argument) && i + 1 < argc) {
        ++i;
        apply_flag(argument, arguments_[static_cast<std::size_t>(i)]);
      }
      continue;
    }
    const std::string value = argument.substr(equals + 1);
    argument = argument.substr(0, equals);  // The argument itself is split.
    log_message("    PPD option: %s=%s", argument.c_str(), value.c_str());
    apply_key(argument, value);
  }
}

void PlainFilter::apply_profile_choice(const std::string& value) {
  std::string name;
  if (!parse_profile_name(value, name)) {
    return;
  }
  settings.icc_name = truncated(name, 127);
  if (find_profile(name, settings.icc_path)) {
    settings.icc_enabled = true;
    log_message("      -> ICC Profile from command line: %s", name.c_str());
  }
}

bool PlainFilter::known_flag(const std::string& flag) const {
  return kNumberFlags.contains(flag) || kTextFlags.contains(flag) || flag == "--icc-profile" ||
         flag == "--paper-size";
}

void PlainFilter::apply_flag(const std::string& flag, const std::string& value) {
  Settings& s = settings;
  if (kNumberFlags.contains(flag)) {
    s.*kNumberFlags.at(flag) = number(value);
  } else if (kTextFlags.contains(flag)) {
    s.*kTextFlags.at(flag) = truncated(value, 31);
  } else if (flag == "--icc-profile") {
    s.icc_name = truncated(value, 127);
    if (find_profile(value, s.icc_path)) {
      s.icc_enabled = true;
    }
  }
}

void PlainFilter::apply_key(const std::string& key, const std::string& value) {
  if (key == "ICCProfile") {
    apply_profile_choice(value);
  } else {
    apply_option(key, value, false);
  }
}

void PlainFilter::read_paper_argument() {
  for (std::size_t i = 1; i + 1 < arguments_.size(); ++i) {
    if (arguments_[i] != "--paper-size") {
      continue;
    }
    const std::string& wanted = arguments_[i + 1];
    for (std::size_t row = 0; row + 1 < papers().size(); ++row) {
      const Paper& paper = papers()[row];
      if (wanted == paper.name || wanted == paper.label) {
        settings.paper = paper;
        log_message("K905-1: Manual paper selection: %s (%s)", paper.name.c_str(),
                    paper.label.c_str());
        break;
      }
    }
    ++i;
  }
}

void PlainFilter::log_summary() {
  const Settings& s = settings;
  log_message("K905-1: Current configuration summary:");
  log_message("  Brightness: %d (%.2f)", s.brightness, s.brightness / 1000.0);
  log_message("  Contrast: %d (%.2f)", s.contrast, s.contrast / 1000.0);
  log_message("  Saturation: %d (%.2f)", s.saturation, s.saturation / 1000.0);
  log_message("  Gamma: %d (%.3f)", s.gamma, s.gamma / 1000.0);
  log_message("  Copies: %d", s.copies);
  log_message("  Color Model: %s", s.color_model.c_str());
  log_message("  Color Precision: %s", s.color_precision.c_str());
  log_message("  Image Type: %s", s.image_type.c_str());
  log_message("  Color Correction: %s", s.color_correction.c_str());
  log_message("  Resolution: %s", s.resolution.c_str());
  log_message("  Overcoat: %s", s.overcoat.c_str());
  log_message("  Legacy Gamma: %d", s.legacy_gamma);
  log_message("  No Cut Waste: %d", s.no_cut_waste);
  log_message("  Shrink Output: %s", s.shrink_output.c_str());
  log_message("  ICC Enabled: %s", s.icc_enabled ? "Yes" : "No");
  if (s.icc_enabled) {
    log_message("  ICC Profile: %s", s.icc_path.c_str());
    log_message("  ICC Rendering Intent: %s", s.icc_intent.c_str());
  }
  log_message("  Ribbon Size: %s", s.ribbon.c_str());
  log_message("  Cache Optimization: %s", s.cache_optimization ? "ENABLED" : "DISABLED");
}

}  // namespace reference
