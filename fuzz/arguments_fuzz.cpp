// The argument vector, including the option string. The input is one byte for the maximum length of
// a log line, then the arguments, separated by NULs.
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/expect.h"
#include "fuzz/input.h"
#include "fuzz/log_lines.h"
#include "fuzz/replaced_stream.h"
#include "fuzz/settings_check.h"
#include "settings/job_arguments.h"
#include "settings/paper_argument.h"
#include "settings/print_options.h"
#include "settings/summary.h"
#include "tests/settings/argument_list.h"
#include "tests/settings/fake_files.h"
#include "tests/support/environment_guard.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  ReferenceJob job;
  job.max_message = 4 * (input.byte() % 64);
  while (!input.empty()) job.arguments.push_back(input.until('\0'));
  // The working folder of the program and of the reference is ".".
  const FakeFiles profiles({"./printer.icc", "././printer.icc", "/there/abs.icc",
                            "/opt/homebrew/share/color/icc/AdobeRGB1998.icc",
                            "/usr/share/color/icc/colord/lost.icm"});
  reference::PlainFilter plain(job);
  plain.read_arguments();
  plain.read_paper_argument();
  plain.log_summary();

  const SettingsGuard settings;
  const std::string limit = std::to_string(job.max_message);
  const EnvironmentGuard message("CUPS_MAX_MESSAGE", limit.c_str());
  ArgumentList list(job.arguments);
  ReplacedStream err(STDERR_FILENO);
  read_job_arguments(list.count(), list.values());
  read_paper_argument(list.count(), list.values());
  print_configuration_summary();
  err.restore();
  const std::string_view log = err.content();
  expect_plain_log(log, static_cast<std::size_t>(job.max_message));
  expect_valid_settings();
  expect_like(plain, log);
  return 0;
}
