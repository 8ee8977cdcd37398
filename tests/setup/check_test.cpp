// Which files the filters can read. CUPS runs them as the user lp.
#include "apps/setup/check.h"

#include <gtest/gtest.h>
#include <pwd.h>

namespace {

bool can_read(mode_t mode, uid_t owner, gid_t group) {
  struct stat status {};
  status.st_mode = S_IFREG | mode;
  status.st_uid = owner;
  status.st_gid = group;
  return k905::is_readable_by_filters(status);
}

TEST(IsReadableByFilters, UsesOnlyTheBitsForOwnerGroupOrOthersThatApply) {
  const passwd* entry = getpwnam("lp");
  ASSERT_NE(entry, nullptr);
  const uid_t lp = entry->pw_uid;
  const gid_t lp_group = entry->pw_gid;
  EXPECT_FALSE(can_read(0640, 0, 0));
  EXPECT_TRUE(can_read(0644, 0, 0));
  EXPECT_TRUE(can_read(0640, 0, lp_group));
  EXPECT_FALSE(can_read(0604, 0, lp_group));
  EXPECT_TRUE(can_read(0400, lp, 0));
  EXPECT_FALSE(can_read(0044, lp, lp_group));
}

}  // namespace
