#include "tests/support/report_builder.h"

#include <utility>

std::string report_of(const ReportValues& values) {
  const std::pair<const char*, const char*> unreported[] = {
      {"Version", "v1.0"},
      {"PrintStatus", " (-1)"},
      {"PrintVersion", ""},
      {"PrintMediaInfo", ""},
      {"PrintHorResolution", ""},
      {"PrintVerResolution", ""},
      {"PrintFreeBuff", " (-1)"},
      {"PrintInitMediaCount", " (-1)"},
      {"PrintRemainQuantity", " (-1)"},
      {"PrintSerialNO", ""},
      {"PrintVolumeLifeCounter", " (-1)"},
      {"PrintHalfSizeMediaCounter", " (-1)"},
      {"PrintVolumeMatteCounter", " (-1)"},
      {"PrintColorControlDataVersion", ""},
      {"PrintColorControlDataChecksum", ""},
      {"ActPrintVersion", ""},
      {"ActPrintMediaInfo", ""},
      {"ActPrintResolution", ""},
  };
  std::string report;
  for (const auto& [key, empty_value] : unreported) {
    const auto value = values.find(key);
    report +=
        std::string(key) + " = " + (value == values.end() ? empty_value : value->second) + "\r\n";
  }
  return report;
}

ReportValues changed(ReportValues values, const ReportValues& replacements) {
  for (const auto& [key, value] : replacements) {
    values[key] = value;
  }
  return values;
}
