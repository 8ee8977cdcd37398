#include "filter/startup.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"

namespace {

class Startup : public ::testing::Test {
 protected:
  SettingsGuard settings_;
};

TEST_F(Startup, LogsTheProcessAndEveryArgument) {
  char name[] = "k905";
  char title[] = "line\nATTR: break";
  char* arguments[] = {name, title, nullptr};
  EXPECT_EQ(captured_log([&] { log_start(2, arguments); }),
            "=== rastertok905 start ===\n"
            "K905-1: Process ID: " +
                std::to_string(getpid()) +
                "\n"
                "K905-1: Program called with 2 arguments\n"
                "K905-1: Command line arguments:\n"
                "  [0]: k905\n"
                "  [1]: line ATTR: break\n");
}

TEST_F(Startup, RibbonIs6x4WithoutTheVariable) {
  EXPECT_EQ(captured_log([] { detect_ribbon(); }),
            "K905-1 DEBUG: Starting ribbon detection\n"
            "K905-1: macOS: using default ribbon size 6x4 (no USB scan)\n");
  EXPECT_STREQ(current_options.ribbon_size, "6x4");
  EXPECT_EQ(current_options.ribbon_detected, 1);
}

TEST_F(Startup, RibbonIsTakenFromTheVariable) {
  for (const char* ribbon : {"6x4", "6x8"}) {
    const SettingsGuard settings;
    const EnvironmentGuard environment("K905_RIBBON", ribbon);
    EXPECT_EQ(captured_log([] {
                take_ribbon_from_environment();
                detect_ribbon();
              }),
              "K905-1 DEBUG: Already detected ribbon\n");
    EXPECT_STREQ(current_options.ribbon_size, ribbon);
  }
}

TEST_F(Startup, OtherRibbonsAreIgnored) {
  for (const char* ribbon : {"", "6X8", "6x8 ", " 6x8", "6x9", "8x6", "6x88"}) {
    const EnvironmentGuard environment("K905_RIBBON", ribbon);
    take_ribbon_from_environment();
    EXPECT_EQ(current_options.ribbon_detected, 0) << ribbon;
    EXPECT_STREQ(current_options.ribbon_size, "") << ribbon;
  }
}

}  // namespace
