#include "tests/settings/settings_check.h"

#include <gtest/gtest.h>

#include "settings/job_arguments.h"
#include "settings/paper_argument.h"
#include "settings/ppd_defaults.h"
#include "settings/summary.h"
#include "tests/settings/argument_list.h"
#include "tests/settings/fake_files.h"
#include "tests/support/captured_log.h"
#include "tests/support/child_process.h"
#include "tests/support/environment_guard.h"
#include "tests/support/settings_difference.h"

void expect_like_reference(const SettingsJob& job) {
  ReferenceJob input;
  input.arguments = job.arguments;
  const ScratchFolder folder;
  if (job.ppd) {
    input.ppd_file = job.ppd;
    input.ppd_path = folder.write("queue.ppd", job.ppd_bytes.value_or(ppd_text(*job.ppd)));
  }
  std::set<std::string> existing = job.existing_files;
  for (const std::string& path : job.existing_files) {
    // The reference looks for the files of the working folder by its path, here ".".
    if (path.starts_with("./")) existing.insert("./" + path);
  }
  const FakeFiles files(existing);
  const EnvironmentGuard ppd("PPD", job.ppd ? input.ppd_path->c_str() : nullptr);
  ArgumentList list(job.arguments);
  current_options.cache_optimization = job.cache_optimization ? 1 : 0;
  const std::string log = captured_log([&] {
    read_ppd_defaults();
    read_job_arguments(list.count(), list.values());
    read_paper_argument(list.count(), list.values());
    print_configuration_summary();
  });

  reference::PlainFilter plain(input);
  plain.settings.cache_optimization = job.cache_optimization;
  plain.read_ppd();
  plain.read_arguments();
  plain.read_paper_argument();
  plain.log_summary();
  EXPECT_EQ(lines_of(log), plain.log);
  EXPECT_EQ(different_settings(current_options, plain.settings), "");
}
