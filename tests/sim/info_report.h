// The expected report of `--info`.
#pragma once

#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/report_builder.h"

// The report of the filter for a simulated K905 with its initial state, with some changed lines.
[[nodiscard]] std::string expected_report(const ReportValues& changes = {});

// Runs the built filter with these arguments and empty standard input. PPD names a file that does
// not exist, so that the log stays on standard error.
[[nodiscard]] ChildResult run_filter(const std::vector<std::string>& arguments);
