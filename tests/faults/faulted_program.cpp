#include "tests/faults/faulted_program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "apps/wire/printer_stream.h"
#include "tests/support/build_paths.h"

namespace {

constexpr char kLibrary[] = K905_BINARY_DIR "/tests/libk905_failing_calls.so";
constexpr char kReport[] = "report";

std::string text_of(const CallFault& fault) {
  std::string text = fault.function;
  text.append(" ").append(std::to_string(fault.number));
  text.append(" ").append(std::to_string(fault.error));
  return fault.and_later ? text + " on" : text;
}

void read_report(const std::string& report, FaultedProgram& run) {
  std::istringstream words(report);
  std::string name;
  while (words >> name) {
    if (name == "failed") {
      run.failed = true;
      words >> name >> run.descriptor >> run.caller;
    } else {
      words >> run.calls[name];
    }
  }
}

}  // namespace

FaultedProgram run_with_fault(ChildSetup setup, const CallFault& fault) {
  const ScratchFolder scratch;
  // If the program has a private /tmp, the report is written there.
  const bool elsewhere = !setup.private_tmp.empty();
  const std::string folder = elsewhere ? setup.private_tmp : scratch.path();
  // Without it libcups queries the name service for the home folder of the user.
  setup.environment["HOME"] = "/nonexistent";
  setup.environment["LD_PRELOAD"] = kLibrary;
  setup.environment["K905_FAULT_REPORT"] = (elsewhere ? "/tmp/" : folder + "/") + kReport;
  // A sanitizer must be the first library; with this option it accepts the preloaded one before it.
  setup.environment["ASAN_OPTIONS"] = "verify_asan_link_order=0";
  if (fault.number > 0) {
    setup.environment["K905_FAULT"] = text_of(fault);
  }
  std::filesystem::remove(folder + "/" + kReport);
  FaultedProgram run;
  run.result = run_child(setup);
  read_report(read_file(folder + "/" + kReport), run);
  return run;
}

std::vector<long> calls_to_fail(long calls, long most) {
  const long count = std::getenv("K905_EVERY_CALL") != nullptr ? calls : std::min(calls, most);
  std::vector<long> chosen;
  for (long i = 0; i < count; ++i) {
    chosen.push_back(count > 1 ? 1 + i * (calls - 1) / (count - 1) : 1);
  }
  return chosen;
}

std::vector<std::string> complete_sheets(const std::string& stream) {
  const k905::ParsedStream parsed = k905::parse_printer_stream(
      reinterpret_cast<const std::uint8_t*>(stream.data()), stream.size());
  EXPECT_FALSE(parsed.error.has_value()) << "incomplete at byte " << parsed.error->offset;
  std::vector<std::string> sheets;
  for (const k905::Sheet& sheet : parsed.sheets) {
    sheets.push_back(stream.substr(sheet.offset, sheet.size));
  }
  return sheets;
}
