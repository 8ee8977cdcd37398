#include "apps/photo/photo_job.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>

namespace k905 {

namespace {

bool is_on(const std::string& value) { return value == "true" || value == "yes" || value == "on"; }

}  // namespace

PrepareOptions prepare_options_of(const CupsOptions& options) {
  const std::string scaling = options.value("print-scaling");
  // Any of them selects fit: only a job sets fit-to-page and fitplot, but print-scaling may be the
  // queue's default.
  const bool fit_to_page = is_on(options.value("fit-to-page")) || is_on(options.value("fitplot"));
  return {.fit = scaling == "fit" || scaling == "auto-fit" || fit_to_page, .rotate = true};
}

bool needs_default_filter(const CupsOptions& options) {
  constexpr std::array<const char*, 9> options_of_default_filter{
      "scaling",    "natural-scaling", "ppi", "position",  "mirror",
      "brightness", "gamma",           "hue", "saturation"};
  return options.value("print-scaling") == "none" ||
         std::any_of(options_of_default_filter.begin(), options_of_default_filter.end(),
                     [&](const char* name) { return !options.value(name).empty(); });
}

long copies_of(const char* copies) { return std::max(std::strtol(copies, nullptr, 10), 1L); }

}  // namespace k905
