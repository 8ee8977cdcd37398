#include "apps/base/anonymous_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <string>

namespace {

TEST(AnonymousFile, StartsAtOffsetZero) {
  const int file = anonymous_file_with("letter", "photograph");
  ASSERT_GE(file, 0);
  char bytes[32];
  ASSERT_EQ(read(file, bytes, sizeof bytes), 10);
  EXPECT_EQ(std::string(bytes, 10), "photograph");
  close(file);
}

TEST(AnonymousFile, CanBeReopenedByDescriptorAndIsInNoFolder) {
  const int file = anonymous_file_with("letter", "photograph");
  ASSERT_GE(file, 0);
  const int again = open(("/dev/fd/" + std::to_string(file)).c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(again, 0);
  struct stat status {};
  ASSERT_EQ(fstat(again, &status), 0);
  EXPECT_EQ(status.st_size, 10);
  EXPECT_EQ(status.st_nlink, 0U);
  close(again);
  close(file);
}

TEST(AnonymousFile, IsNotInherited) {
  const int file = anonymous_file_with("letter", "");
  ASSERT_GE(file, 0);
  EXPECT_EQ(fcntl(file, F_GETFD), FD_CLOEXEC);
  close(file);
}

TEST(AnonymousFile, WithoutSpaceReportsTheReasonAndKeepsNothing) {
  std::signal(SIGXFSZ, SIG_IGN);
  const int next = dup(STDERR_FILENO);  // the lowest number that is free
  close(next);
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit four = {.rlim_cur = 4, .rlim_max = before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &four), 0);
  const int file = anonymous_file_with("letter", "photograph");
  const int reason = errno;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  EXPECT_EQ(file, -1);
  EXPECT_EQ(reason, EFBIG);
  EXPECT_EQ(fcntl(next, F_GETFD), -1);
}

}  // namespace
