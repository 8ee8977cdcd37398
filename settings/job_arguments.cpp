#include "settings/job_arguments.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "diag/log.h"
#include "settings/icc_profiles.h"
#include "settings/option_rules.h"
#include "settings/option_values.h"
#include "settings/print_options.h"

namespace {

// Where CUPS puts the job's option string.
constexpr int kOptionStringIndex = 5;

struct FreeDeleter {
  void operator()(char* text) const noexcept { std::free(text); }
};
using HeapText = std::unique_ptr<char, FreeDeleter>;

HeapText duplicate(const char* text) {
  const std::size_t size = std::strlen(text) + 1;
  HeapText copy(static_cast<char*>(std::malloc(size)));
  if (copy != nullptr) {
    std::memcpy(copy.get(), text, size);
  }
  return copy;
}

// The name counts even if the profile is not found: if conversion is enabled, the profile that was
// chosen before is then used, or sRGB.
bool choose_icc_profile(const char* name) {
  copy_text(current_options.icc_profile_name, name);
  const bool found = find_icc_profile(name, current_options.icc_profile_path) != 0;
  if (found) {
    current_options.icc_enabled = 1;
  }
  return found;
}

void apply_icc_option(const char* value) {
  const HeapText name(parse_icc_profile_name(value));
  if (name != nullptr && choose_icc_profile(name.get())) {
    log_line("      -> ICC Profile from command line: %s", name.get());
  }
}

// Deliberate: only the first ICCProfile of the option string counts. The job's other options reach
// the filter in the page header, or as default choices of the PPD copy that rastertok905job makes.
void read_option_string(const char* options) {
  if (options == nullptr || options[0] == '\0') {
    return;
  }
  const HeapText copy = duplicate(options);
  if (copy == nullptr) {
    return;
  }
  log_line("K905-1: argv[5] (options) first 200 chars: %.200s", options);
  char* rest = nullptr;
  for (char* token = strtok_r(copy.get(), " \t", &rest); token != nullptr;
       token = strtok_r(nullptr, " \t", &rest)) {
    char* equals = std::strchr(token, '=');
    if (equals == nullptr || equals == token) {
      continue;
    }
    *equals = '\0';
    if (std::strcmp(token, "ICCProfile") == 0) {
      log_line("    PPD option: %s=%s", token, equals + 1);
      apply_icc_option(equals + 1);
      return;
    }
  }
}

void apply_key_value(const char* key, const char* value) {
  log_line("    PPD option: %s=%s", key, value);
  if (std::strcmp(key, "ICCProfile") == 0) {
    apply_icc_option(value);
  } else {
    apply_option(OptionSource::argument, key, value);
  }
}

template <std::int32_t PrintOptions::*field>
void set_number(const char* value) {
  current_options.*field = option_int(value);
}

template <auto Field>
void set_text(const char* value) {
  copy_text(text_field<Field>(), value);
}

void choose_profile_file(const char* value) { static_cast<void>(choose_icc_profile(value)); }

// The paper is selected later, by read_paper_argument; here its name is ignored.
void ignore_value(const char* /*value*/) {}

struct Flag {
  const char* name;
  void (*apply)(const char* value);
};

// Deliberate: flags are for runs by hand and their numbers are used unchanged; "None" is 0 here,
// even for the gamma, where it is 1000 as a PPD option.
constexpr Flag flags[] = {
    {"--contrast", set_number<&PrintOptions::contrast>},
    {"--saturation", set_number<&PrintOptions::saturation>},
    {"--brightness", set_number<&PrintOptions::brightness>},
    {"--gamma", set_number<&PrintOptions::gamma>},
    {"--copies", set_number<&PrintOptions::copies>},
    {"--color-model", set_text<&PrintOptions::color_model>},
    {"--color-precision", set_text<&PrintOptions::color_precision>},
    {"--image-type", set_text<&PrintOptions::image_type>},
    {"--color-correction", set_text<&PrintOptions::color_correction>},
    {"--icc-profile", choose_profile_file},
    {"--icc-intent", set_text<&PrintOptions::icc_intent>},
    {"--paper-size", ignore_value},
};

// True when `name` is a flag, which has then consumed `value`.
bool apply_flag(const char* name, const char* value) {
  for (const Flag& flag : flags) {
    if (std::strcmp(name, flag.name) == 0) {
      flag.apply(value);
      return true;
    }
  }
  return false;
}

void read_arguments(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    char* argument = argv[i];
    log_line("  Arg[%d]: %s", i, argument);
    if (i == kOptionStringIndex) {
      continue;
    }
    if (char* equals = std::strchr(argument, '=')) {
      *equals = '\0';
      apply_key_value(argument, equals + 1);
    } else if (i + 1 < argc && apply_flag(argument, argv[i + 1])) {
      ++i;
    }
  }
}

}  // namespace

void read_job_arguments(int argc, char** argv) {
  log_line("K905-1: Parsing command line options:");
  if (argc > kOptionStringIndex) {
    read_option_string(argv[kOptionStringIndex]);
  }
  read_arguments(argc, argv);
}
