// The report of `--info` as a test expects it.
#pragma once

#include <string>
#include <vector>

#include "tests/support/child_process.h"
#include "tests/support/report_builder.h"

// What the filter writes about a simulated K905 that nobody has changed, with some lines otherwise.
[[nodiscard]] std::string expected_report(const ReportValues& otherwise = {});

// The built filter with these arguments and empty standard input. PPD names a file that is not
// there, so that the log stays on standard error.
[[nodiscard]] ChildResult run_filter(const std::vector<std::string>& arguments);
