#include "apps/base/write_all.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <deque>
#include <string>

#include "tests/support/child_process.h"
#include "tests/support/system_hooks.h"

namespace {

class WriteAll : public ::testing::Test {
 protected:
  ~WriteAll() override {
    close(pipe_.read_end);
    close(pipe_.write_end);
  }

  // What the next calls of write do; after the last one the system's write is called.
  void script(const std::deque<hooks::Step>& steps) const {
    hooks::write_script = {.descriptor = pipe_.write_end, .steps = steps};
  }
  [[nodiscard]] bool write_photograph() const { return write_all(pipe_.write_end, "photograph"); }
  [[nodiscard]] std::string taken() const {
    char bytes[32];
    const ssize_t got = read(pipe_.read_end, bytes, sizeof bytes);
    return {bytes, got > 0 ? static_cast<std::size_t>(got) : 0};
  }

  hooks::Guard guard_;
  Pipe pipe_ = make_pipe();
};

TEST_F(WriteAll, ContinuesAfterAPartialWrite) {
  script({{.at_most = 4}, {.at_most = 1}});
  EXPECT_TRUE(write_photograph());
  EXPECT_EQ(taken(), "photograph");
}

TEST_F(WriteAll, ContinuesAfterASignal) {
  script({{.error = EINTR}, {.at_most = 4}, {.error = EINTR}});
  EXPECT_TRUE(write_photograph());
  EXPECT_EQ(taken(), "photograph");
}

TEST_F(WriteAll, ReportsTheError) {
  script({{.at_most = 4}, {.error = ENOSPC}});
  EXPECT_FALSE(write_photograph());
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(taken(), "phot");
}

TEST_F(WriteAll, WriteOfZeroBytesIsAnError) {
  script({{.at_most = 4}, {.at_most = 0}});
  errno = 0;
  EXPECT_FALSE(write_photograph());
  EXPECT_EQ(errno, EIO);
}

TEST_F(WriteAll, WithoutBytesMakesNoCall) {
  script({{.error = EBADF}});
  EXPECT_TRUE(write_all(pipe_.write_end, ""));
  EXPECT_EQ(hooks::write_script.steps.size(), 1U);
}

}  // namespace
