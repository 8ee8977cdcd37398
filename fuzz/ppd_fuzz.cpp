// A queue's PPD file of arbitrary bytes. libcups parses it; the reference interprets the result.
#include <cups/ppd.h>

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "fuzz/expect.h"
#include "fuzz/log_lines.h"
#include "fuzz/memory_file.h"
#include "fuzz/replaced_stream.h"
#include "fuzz/settings_check.h"
#include "settings/ppd_defaults.h"
#include "settings/print_options.h"
#include "settings/summary.h"
#include "tests/settings/fake_files.h"
#include "tests/support/environment_guard.h"
#include "tests/support/ppd_builder.h"

#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

// libcups never frees two strings of a malformed file.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:_ppdOpen\n"; }
extern "C" const char* __lsan_default_options();
extern "C" const char* __lsan_default_options() { return "print_suppressions=0"; }

namespace {

std::optional<std::string> text_or_none(const char* text) {
  return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

std::optional<PpdDescription> description_of(const std::string& path) {
  ppd_file_t* const ppd = ppdOpenFile(path.c_str());
  if (ppd == nullptr) return std::nullopt;
  PpdDescription description{text_or_none(ppd->product),
                             text_or_none(ppd->manufacturer),
                             text_or_none(ppd->modelname),
                             {}};
  for (const ppd_group_t& group : std::span(ppd->groups, std::size_t(ppd->num_groups))) {
    description.groups.push_back({group.name, {}});
    for (const ppd_option_t& option : std::span(group.options, std::size_t(group.num_options))) {
      description.groups.back().options.push_back({option.keyword, option.defchoice});
    }
  }
  ppdClose(ppd);
  return description;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const MemoryFile file(data, size);
  // The working folder of the program and of the reference is ".".
  const FakeFiles profiles({"/usr/share/color/icc/sRGB.icc", "./printer.icm", "././printer.icm",
                            "/Library/ColorSync/Profiles/AdobeRGB.icc"});
  ReferenceJob job;
  job.ppd_path = file.path();
  job.ppd_file = description_of(file.path());
  reference::PlainFilter plain(job);
  plain.read_ppd();
  plain.log_summary();

  const SettingsGuard settings;
  const EnvironmentGuard ppd("PPD", file.path().c_str());
  ReplacedStream err(STDERR_FILENO);
  read_ppd_defaults();
  print_configuration_summary();
  err.restore();
  const std::string_view log = err.content();
  expect_plain_log(log);
  expect_valid_settings();
  expect_like(plain, log);
  return 0;
}
