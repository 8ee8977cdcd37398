// When memory allocation fails, the settings keep their values and the job continues.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <string>

#include "settings/icc_profiles.h"
#include "settings/job_arguments.h"
#include "settings/option_values.h"
#include "settings/print_options.h"
#include "tests/settings/argument_list.h"
#include "tests/settings/fake_files.h"
#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"

namespace {

bool failing = false;
int left_before_failure = 0;

class LowMemory : public testing::Test {
 protected:
  // The request after `granted` ones and all later ones fail while `code` runs.
  static std::string log_with_memory_for(int granted, const std::function<void()>& code) {
    return captured_log([&] {
      left_before_failure = granted;
      failing = true;
      code();
      failing = false;
    });
  }
  SettingsGuard settings_;
};

TEST_F(LowMemory, ProfileNameThatCannotBeStoredIsReported) {
  const std::pair<const char*, const char*> cases[] = {
      {"ICCPROFILE (a)", ""}, {"sRGB", "K905-1: Mapped choice to file: sRGB.icc\n"}};
  for (const auto& [value, line] : cases) {
    char* name = nullptr;
    EXPECT_EQ(log_with_memory_for(0, [&, value = value] { name = parse_icc_profile_name(value); }),
              std::string("K905-1: Parsing ICC option value: ") + value + "\n" + line +
                  "K905-1: Failed to allocate memory for ICC profile name\n");
    EXPECT_EQ(name, nullptr);
  }
}

TEST_F(LowMemory, OptionStringThatCannotBeCopiedIsSkipped) {
  const FakeFiles files({"./sRGB.icc"});
  ArgumentList list({"queue", "1", "me", "t", "1", "ICCProfile=sRGB", "StpGamma=1500"});
  EXPECT_EQ(log_with_memory_for(0, [&] { read_job_arguments(list.count(), list.values()); }),
            "K905-1: Parsing command line options:\n"
            "  Arg[1]: 1\n"
            "  Arg[2]: me\n"
            "  Arg[3]: t\n"
            "  Arg[4]: 1\n"
            "  Arg[5]: ICCProfile=sRGB\n"
            "  Arg[6]: StpGamma=1500\n"
            "    PPD option: StpGamma=1500\n");
  EXPECT_STREQ(current_options.icc_profile_name, "");
  EXPECT_EQ(current_options.icc_enabled, 0);
  EXPECT_EQ(current_options.gamma, 1500);
}

TEST_F(LowMemory, ProfileNameThatCannotBeStoredKeepsTheProfileOfTheQueue) {
  const FakeFiles files({"./sRGB.icc"});
  copy_text(current_options.icc_profile_name, "queue");
  copy_text(current_options.icc_profile_path, "/queue.icc");
  ArgumentList list({"queue", "1", "me", "t", "1", "ICCProfile=sRGB"});
  log_with_memory_for(1, [&] { read_job_arguments(list.count(), list.values()); });
  EXPECT_STREQ(current_options.icc_profile_name, "queue");
  EXPECT_STREQ(current_options.icc_profile_path, "/queue.icc");
}

TEST_F(LowMemory, LineTooLongForItsBufferIsTruncatedAndEnded) {
  const std::string value(10000, 'n');
  const std::vector<std::string> lines = lines_of(
      log_with_memory_for(0, [&] { static_cast<void>(parse_icc_profile_name(value.c_str())); }));
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(lines[0].starts_with("K905-1: Parsing ICC option value: nnn"));
  EXPECT_LT(lines[0].size(), 10000U);
  EXPECT_EQ(lines[1], "K905-1: ICCPROFILE marker not found, not a known choice name");
}

}  // namespace

extern "C" {

void* __real_malloc(std::size_t size);

void* __wrap_malloc(std::size_t size) {
  return failing && left_before_failure-- <= 0 ? nullptr : __real_malloc(size);
}
}
