#include "settings/ppd_defaults.h"

#include <cups/ppd.h>
#include <sys/stat.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>

#include "diag/log.h"
#include "settings/icc_profiles.h"
#include "settings/option_rules.h"
#include "settings/option_values.h"
#include "settings/print_options.h"

// libcups marks its PPD interface as deprecated, but has no replacement for filters.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace {

struct PpdCloser {
  void operator()(ppd_file_t* ppd) const noexcept { ppdClose(ppd); }
};
using Ppd = std::unique_ptr<ppd_file_t, PpdCloser>;

// Refuses files that are not regular: opening a FIFO would wait for a writer.
Ppd open_ppd(const char* path) {
  struct stat status = {};
  const bool is_other_kind = stat(path, &status) == 0 && !S_ISREG(status.st_mode);
  return Ppd(is_other_kind ? nullptr : ppdOpenFile(path));
}

const char* or_not_available(const char* text) { return text != nullptr ? text : "N/A"; }

void preset_profile_path(const char* name) {
  const bool has_extension =
      std::strstr(name, ".icc") != nullptr || std::strstr(name, ".icm") != nullptr;
  std::snprintf(current_options.icc_profile_path, sizeof current_options.icc_profile_path,
                "/usr/share/color/icc/%s%s", name, has_extension ? "" : ".icc");
}

// Deliberate: the queue's profile counts as chosen even when its file is missing, and "None" is a
// name like any other. The conversion then falls back to sRGB, so no sheet is lost.
void apply_icc_profile(const char* value) {
  log_line("K905-1: ICC Profile specified: %s", value);
  current_options.icc_enabled = 1;
  copy_text(current_options.icc_profile_name, value);
  preset_profile_path(value);
  if (find_icc_profile(value, current_options.icc_profile_path) != 0) {
    log_line("      -> Resolved Path: %s", current_options.icc_profile_path);
  } else {
    log_line("      -> Assumed Path: %s", current_options.icc_profile_path);
  }
  log_line("      -> ICC Enabled: Yes");
  log_line("      -> ICC Name: %s", current_options.icc_profile_name);
  log_line("      -> Note: Will use sRGB as fallback if file not found");
}

struct ColorBase {
  const char* name;
  const char* profile_name;
  const char* profile_path;  // used if no folder has the profile
};

constexpr ColorBase vivid_base{"Vivid", "AdobeRGB.icc", "/Library/ColorSync/Profiles/AdobeRGB.icc"};
constexpr ColorBase normal_base{"Normal", "sRGB.icc", "/Library/ColorSync/Profiles/sRGB.icc"};

void apply_color_base(const char* value) {
  const ColorBase& base = std::strcmp(value, vivid_base.name) == 0 ? vivid_base : normal_base;
  copy_text(current_options.color_base, base.name);
  copy_text(current_options.color_base_profile_name, base.profile_name);
  copy_text(current_options.color_base_profile_path, base.profile_path);
  current_options.icc_enabled = 1;
  // A source profile that is not found keeps this path; the conversion then falls back to sRGB.
  static_cast<void>(find_icc_profile(current_options.color_base_profile_name,
                                     current_options.color_base_profile_path));
  log_line("      -> Color Base: %s", current_options.color_base);
}

void apply_default_choice(const ppd_option_t& option) {
  log_line("    Option: %s = %s", option.keyword, option.defchoice);
  if (std::strcmp(option.keyword, "ICCProfile") == 0) {
    apply_icc_profile(option.defchoice);
  } else if (std::strcmp(option.keyword, "ColorBase") == 0) {
    apply_color_base(option.defchoice);
  } else {
    apply_option(OptionSource::ppd, option.keyword, option.defchoice);
  }
}

void use_default_profile() {
  if (current_options.icc_enabled == 0 &&
      find_icc_profile("sRGB.icc", current_options.icc_profile_path) != 0) {
    current_options.icc_enabled = 1;
    log_line("K905-1: Using default ICC profile: %s", current_options.icc_profile_path);
  }
}

}  // namespace

void apply_ppd_groups(const ppd_file_s& ppd) {
  const std::span groups(ppd.groups, static_cast<std::size_t>(ppd.num_groups));
  for (const ppd_group_t& group : groups) {
    log_line("  Group: %s", group.name);
    for (const ppd_option_t& option :
         std::span(group.options, static_cast<std::size_t>(group.num_options))) {
      apply_default_choice(option);
    }
  }
}

void read_ppd_defaults() {
  const char* path = std::getenv("PPD");
  if (path == nullptr) {
    log_line("K905-1: PPD environment variable not set");
    return;
  }
  Ppd ppd = open_ppd(path);
  if (ppd == nullptr) {
    log_line("K905-1: Failed to open PPD file: %s", path);
    return;
  }
  log_line("K905-1: Parsing PPD file: %s", path);
  log_line("  Product: %s", or_not_available(ppd->product));
  log_line("  Manufacturer: %s", or_not_available(ppd->manufacturer));
  log_line("  ModelName: %s", or_not_available(ppd->modelname));
  apply_ppd_groups(*ppd);
  use_default_profile();
  ppd.reset();
  log_line("K905-1: PPD parsing complete");
  log_line("K905-1: ICC Profile status: %s",
           current_options.icc_enabled != 0 ? "ENABLED" : "DISABLED");
}
