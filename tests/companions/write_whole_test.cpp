#include "companions/files/write_whole.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <deque>
#include <string>

namespace {

// What the next call of write does: takes so many bytes, or fails. Behind the last one writes are
// taken whole.
struct Step {
  std::size_t at_most = 0;
  int error = 0;
};
std::deque<Step> script;
std::string taken;
constexpr int kScripted = 4711;  // the descriptor that is only played

}  // namespace

extern "C" ssize_t __real_write(int descriptor, const void* bytes, std::size_t count);
extern "C" ssize_t __wrap_write(int descriptor, const void* bytes, std::size_t count) {
  if (descriptor != kScripted) {
    return __real_write(descriptor, bytes, count);
  }
  Step step = {.at_most = count};
  if (!script.empty()) {
    step = script.front();
    script.pop_front();
  }
  if (step.error != 0) {
    errno = step.error;
    return -1;
  }
  const std::size_t some = std::min(count, step.at_most);
  taken.append(static_cast<const char*>(bytes), some);
  return static_cast<ssize_t>(some);
}

namespace {

class WriteWhole : public ::testing::Test {
 protected:
  void SetUp() override {
    script.clear();
    taken.clear();
  }
};

TEST_F(WriteWhole, GoesOnBehindWhatWasTaken) {
  script = {{.at_most = 4}, {.at_most = 1}};
  EXPECT_TRUE(write_whole(kScripted, "photograph"));
  EXPECT_EQ(taken, "photograph");
}

TEST_F(WriteWhole, GoesOnAfterASignal) {
  script = {{.error = EINTR}, {.at_most = 4}, {.error = EINTR}};
  EXPECT_TRUE(write_whole(kScripted, "photograph"));
  EXPECT_EQ(taken, "photograph");
}

TEST_F(WriteWhole, TellsWhyItStopped) {
  script = {{.at_most = 4}, {.error = ENOSPC}};
  EXPECT_FALSE(write_whole(kScripted, "photograph"));
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(taken, "phot");
}

TEST_F(WriteWhole, NothingTakenIsAnErrorOfTheDevice) {
  script = {{.at_most = 4}, {.at_most = 0}};
  errno = 0;
  EXPECT_FALSE(write_whole(kScripted, "photograph"));
  EXPECT_EQ(errno, EIO);
}

TEST_F(WriteWhole, OfNothingMakesNoCall) {
  script = {{.error = EBADF}};
  EXPECT_TRUE(write_whole(kScripted, ""));
  EXPECT_EQ(script.size(), 1U);
}

}  // namespace
