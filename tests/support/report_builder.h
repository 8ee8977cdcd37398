// The report of a status query, written out line by line.
#pragma once

#include <map>
#include <string>

using ReportValues = std::map<std::string, std::string>;

// All lines in order. Values that are not in `values` are those of a printer that did not report
// them: an empty text, and the number -1 if there is one.
[[nodiscard]] std::string report_of(const ReportValues& values);

// The values with some of them replaced.
[[nodiscard]] ReportValues changed(ReportValues values, const ReportValues& replacements);
