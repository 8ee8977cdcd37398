// Which queue prints on a device.
#include "apps/status/print_system.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/child_process.h"

namespace {

TEST(QueueOnDevice, IsKnownByThePathInItsUri) {
  const auto found = [](const std::string& uri) {
    return queue_on_device({{"other", "socket://10.0.0.1:9100"}, {"photo", uri}}, "/dev/null");
  };
  EXPECT_EQ(found("file:///dev/null"), "photo");
  EXPECT_EQ(found("file:/dev/null"), "photo");
  EXPECT_EQ(found("serial:/dev/null?baud=9600"), "photo");
  EXPECT_EQ(found("file:///dev/zero"), "");
  EXPECT_EQ(found("usb://K905/K905?serial=1"), "");
  EXPECT_EQ(found(""), "");
}

TEST(QueueOnDevice, LinksAreFollowed) {
  const ScratchFolder folder;
  std::filesystem::create_symlink("/dev/null", folder.path() + "/printer");
  EXPECT_EQ(queue_on_device({{"photo", "file:///dev/null"}}, folder.path() + "/printer"), "photo");
}

TEST(QueueOnUsb, IsTheOneThatPrintsWithoutADeviceFile) {
  EXPECT_EQ(queue_on_usb({{"a", "file:///dev/usb/lp0"}, {"b", "usb://K905/K905"}}), "b");
  EXPECT_EQ(queue_on_usb({{"a", "file:///dev/usb/lp0"}}), "");
}

}  // namespace
