// The small job that tests of the built filter print, and what has to come of it.
#pragma once

#include <string>

#include "tests/support/child_process.h"
#include "tests/support/raster_builder.h"
#include "tests/support/reference.h"

// The path of a PPD file that is not there.
inline constexpr char kPathNowhere[] = "/nonexistent/queue.ppd";

// A page on the smallest paper; another seed gives another picture.
[[nodiscard]] RasterPage small_page(unsigned seed);

// So many of them, all different.
[[nodiscard]] std::string job_of(unsigned pages);

// What the filter, run by `setup` without a PPD file, makes of `input`.
[[nodiscard]] ReferenceResult reference_of(const ChildSetup& setup, int process_id,
                                           const std::string& input);

// As the print system starts it, with a PPD that is not there: the defaults rule.
[[nodiscard]] ChildSetup under_cups();

// What the filter makes of job_of().
[[nodiscard]] std::string output_of(unsigned pages);
