// The report of a status query, written out line by line.
#pragma once

#include <map>
#include <string>

using ReportValues = std::map<std::string, std::string>;

// All lines in their order. Values that are not in `values` are those of a printer that did not
// say it: an empty text, and the number -1 where there is one.
[[nodiscard]] std::string report_of(const ReportValues& values);

// The values with some of them otherwise.
[[nodiscard]] ReportValues changed(ReportValues values, const ReportValues& otherwise);
