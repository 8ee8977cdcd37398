// When a request of the side channel is served: answering it requires a query to the printer.
#include "apps/backend/stop_request.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <optional>

#include "apps/base/descriptor.h"

namespace k905::backend {

namespace {

class WatchedRequest : public testing::Test {
 protected:
  WatchedRequest() {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    stop_end_ = Descriptor(ends[1]);
    stop_.emplace(ends[0]);
    EXPECT_EQ(pipe(ends), 0);
    request_read_end_ = Descriptor(ends[0]);
    request_write_end_ = Descriptor(ends[1]);
    stop_->watch(request_read_end_.get(), [this] {
      ++served_;
      char request = 0;
      return read(request_read_end_.get(), &request, 1) == 1;
    });
    EXPECT_EQ(write(request_write_end_.get(), "?", 1), 1);
  }

  std::optional<StopRequest> stop_;
  Descriptor stop_end_;
  Descriptor request_read_end_;
  Descriptor request_write_end_;
  int served_ = 0;
};

// requested() and age() are called inside a sheet, where a query to the printer would be printed as
// pixels.
TEST_F(WatchedRequest, IsNotServedByCheckingForAStop) {
  EXPECT_FALSE(stop_->requested());
  EXPECT_EQ(stop_->age(), std::chrono::milliseconds(0));
  EXPECT_EQ(served_, 0);
}

TEST_F(WatchedRequest, IsServedOnceWhileTheJobWaits) {
  stop_->pause(std::chrono::milliseconds(20));
  stop_->pause(std::chrono::milliseconds(1));
  EXPECT_EQ(served_, 1);
}

TEST_F(WatchedRequest, DoesNotShortenAPause) {
  request_write_end_.reset();  // the filter has ended
  const auto begin = std::chrono::steady_clock::now();
  stop_->pause(std::chrono::milliseconds(50));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50));
  EXPECT_EQ(served_, 2);  // the request and the end of file
}

}  // namespace

}  // namespace k905::backend
