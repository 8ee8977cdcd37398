#include "tests/sim/info_report.h"

// Computed by hand from the simulator's initial state: 400 of 400 prints left, which a K905 reports
// as 450, 1234 prints made, 56 of them matte, two free buffers.
std::string expected_report(const ReportValues& changes) {
  const ReportValues first{
      {"PrintStatus", "Idling (0)"},
      {"PrintVersion", "K905 1.00"},
      {"PrintMediaInfo", "6x8"},
      {"PrintHorResolution", "0300"},
      {"PrintVerResolution", "0300"},
      {"PrintFreeBuff", "FBP02 (2)"},
      {"PrintInitMediaCount", "MQD 0400 (400)"},
      {"PrintRemainQuantity", "MQT 0450 (400)"},
      {"PrintSerialNO", "SIM00000001"},
      {"PrintVolumeLifeCounter", "CL0001234 (1234)"},
      {"PrintVolumeMatteCounter", "CMT 0000056 (56)"},
      {"PrintColorControlDataVersion", "1.00"},
      {"PrintColorControlDataChecksum", "A5C3"},
      {"ActPrintVersion", "K905"},
      {"ActPrintMediaInfo", "6x8"},
      {"ActPrintResolution", "300x300"},
  };
  return report_of(changed(first, changes));
}

ChildResult run_filter(const std::vector<std::string>& arguments) {
  ChildSetup setup;
  setup.program = filter_program();
  setup.arguments = {"rastertok905"};
  setup.arguments.insert(setup.arguments.end(), arguments.begin(), arguments.end());
  setup.environment = {{"PPD", "/nonexistent/queue.ppd"}};
  setup.time_limit = std::chrono::seconds(120);
  return run_child(setup);
}
