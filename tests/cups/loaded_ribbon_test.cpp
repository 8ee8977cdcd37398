// The query for the loaded ribbon without an answer from the backend. Queries that the backend
// answers are tested with a scheduler.
#include "apps/adapter/loaded_ribbon.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

#include "apps/base/descriptor.h"
#include "apps/base/media_question.h"
#include "tests/support/environment_guard.h"

namespace k905 {
namespace {

class LoadedRibbon : public testing::Test {
 protected:
  LoadedRibbon() : before_(dup(kSideChannel)) {
    std::array<int, 2> ends{-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
    const Descriptor filter(fcntl(ends[0], F_DUPFD_CLOEXEC, kSideChannel + 1));
    backend_.reset(fcntl(ends[1], F_DUPFD_CLOEXEC, kSideChannel + 1));
    close(ends[0]);
    close(ends[1]);
    dup2(filter.get(), kSideChannel);
  }
  ~LoadedRibbon() override {
    close(kSideChannel);
    if (before_) {
      dup2(before_.get(), kSideChannel);
    }
  }

  [[nodiscard]] bool was_asked() const {
    char byte = 0;
    return recv(backend_.get(), &byte, 1, MSG_DONTWAIT) == 1;
  }

 private:
  Descriptor before_;
  Descriptor backend_;
};

TEST_F(LoadedRibbon, IsUnknownWhenTheBackendDoesNotAnswerInTime) {
  const EnvironmentGuard device("DEVICE_URI", "k905:/dev/usb/lp0");
  EXPECT_EQ(loaded_ribbon(std::chrono::seconds(1)), "");
  EXPECT_TRUE(was_asked());
}

TEST_F(LoadedRibbon, IsNotRequestedFromAnotherBackend) {
  const EnvironmentGuard device("DEVICE_URI", "socket://10.0.0.7");
  EXPECT_EQ(loaded_ribbon(), "");
  EXPECT_FALSE(was_asked());
}

TEST_F(LoadedRibbon, IsNotRequestedWithoutASideChannel) {
  const EnvironmentGuard device("DEVICE_URI", "k905:/dev/usb/lp0");
  const Descriptor file(open("/dev/null", O_RDWR | O_CLOEXEC));
  dup2(file.get(), kSideChannel);
  EXPECT_EQ(loaded_ribbon(), "");
}

}  // namespace
}  // namespace k905
