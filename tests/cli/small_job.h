// The small job that tests of the built filter print, and its expected result.
#pragma once

#include <string>
#include <vector>

#include "tests/cli/interactive_process.h"
#include "tests/support/child_process.h"
#include "tests/support/raster_builder.h"
#include "tests/support/reference.h"

// The path of a PPD file that does not exist.
inline constexpr char kMissingPpd[] = "/nonexistent/queue.ppd";

// A page on the smallest paper; the image depends on the seed.
[[nodiscard]] RasterPage small_page(unsigned seed);

// A job of `pages` different pages.
[[nodiscard]] std::string job_of(unsigned pages);

// The expected result for `input`, if the filter is run by `setup` without a PPD file.
[[nodiscard]] ReferenceResult reference_of(const ChildSetup& setup, int process_id,
                                           const std::string& input);

// As CUPS starts it, with a PPD file that does not exist: all settings are defaults.
[[nodiscard]] ChildSetup under_cups();

// Checks the first and the last line.
void expect_complete_log(const std::vector<std::string>& log);

// Waits until the process ends. It must end as a canceled job does: with status 0 and a complete
// log.
void expect_canceled(InteractiveProcess& process);

// The expected output for job_of().
[[nodiscard]] std::string output_of(unsigned pages);
