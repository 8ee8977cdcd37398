// The search for a profile; tests/settings/job_arguments_test.cpp has its results.
#include "settings/icc_profiles.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tests/settings/fake_files.h"
#include "tests/support/captured_log.h"

namespace {

constexpr char kUntouched[] = "untouched";

TEST(ProfileSearch, TriesEveryFolderWithEveryEndingInOrder) {
  const FakeFiles files;
  char path[512];
  std::snprintf(path, sizeof path, "%s", kUntouched);
  captured_log([&] { EXPECT_EQ(find_icc_profile("p.icc", path), 0); });
  EXPECT_STREQ(path, kUntouched);
  std::vector<std::string> expected;
  for (const std::string folder : {"/Library/ColorSync/Profiles/", "/usr/local/share/color/icc/",
                                   "/opt/homebrew/share/color/icc/", "./", "/usr/share/color/icc/",
                                   "/usr/share/color/icc/colord/"}) {
    for (const char* ending : {"", ".icc", ".icm"}) {
      expected.push_back(folder + "p.icc" + ending);
    }
  }
  EXPECT_EQ(files.requested(), expected);
}

TEST(ProfileSearch, MissingNameIsNotFoundAndNotLogged) {
  const FakeFiles files({"./", "."});
  for (const char* name : {static_cast<const char*>(nullptr), ""}) {
    char path[512];
    std::snprintf(path, sizeof path, "%s", kUntouched);
    EXPECT_EQ(captured_log([&] { EXPECT_EQ(find_icc_profile(name, path), 0); }), "");
    EXPECT_STREQ(path, kUntouched);
  }
  EXPECT_EQ(captured_log([] { EXPECT_EQ(parse_icc_profile_name(nullptr), nullptr); }), "");
}

}  // namespace
