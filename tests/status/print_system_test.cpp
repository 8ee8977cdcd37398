// The printer of a device URI, and the queue that prints on a device.
#include "apps/status/print_system.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/child_process.h"

namespace k905 {
namespace {

using Kind = PrinterAddress::Kind;

Queue printing(const std::string& name, const std::string& uri) {
  return {.name = name, .device_uri = uri, .printing = true};
}

std::string queue_on(const std::string& device, const std::vector<Queue>& queues) {
  const Queue* queue = printing_queue(queues, {.kind = Kind::kPath, .name = device, .port = ""});
  return queue == nullptr ? "" : queue->name;
}

TEST(AddressIn, AcceptsPrintersThatCanBeAskedFromThisComputer) {
  const PrinterAddress host{.kind = Kind::kNetwork, .name = "10.0.0.1", .port = "9100"};
  EXPECT_EQ(address_in("k905://10.0.0.1"), host);
  EXPECT_EQ(address_in("socket://10.0.0.1:9100/?waiteof=no"), host);
  const PrinterAddress serial{.kind = Kind::kSerial, .name = "K905 1", .port = ""};
  EXPECT_EQ(address_in("k905://usb/K905%201?settle=1"), serial);
  EXPECT_EQ(address_in("usb://K905/K905?serial=K905%201"), serial);
  for (const char* const uri : {"", "usb://K905/K905", "ipp://host/printers/booth", "lpd://host/q",
                                "file:///tmp/capture", "nonsense"}) {
    EXPECT_EQ(address_in(uri), std::nullopt) << uri;
  }
}

TEST(PrintingQueueOnDevice, IsFoundByThePathInItsUri) {
  const auto found = [](const std::string& uri) {
    return queue_on("/dev/null",
                    {printing("other", "socket://10.0.0.1:9100"), printing("photo", uri)});
  };
  EXPECT_EQ(found("k905:/dev/null"), "photo");
  EXPECT_EQ(found("file:///dev/null"), "photo");
  EXPECT_EQ(found("file:/dev/null"), "photo");
  EXPECT_EQ(found("serial:/dev/null?baud=9600"), "photo");
  EXPECT_EQ(found("file:///dev/zero"), "");
  EXPECT_EQ(found("usb://K905/K905?serial=1"), "");
  EXPECT_EQ(found(""), "");
}

TEST(PrintingQueueOnDevice, IsFoundThroughASymbolicLink) {
  const ScratchFolder folder;
  std::filesystem::create_symlink("/dev/null", folder.path() + "/printer");
  EXPECT_EQ(queue_on(folder.path() + "/printer", {printing("photo", "file:///dev/null")}), "photo");
}

TEST(PrintingQueueOnDevice, IsNotAnIdleQueue) {
  Queue idle = printing("photo", "file:///dev/null");
  idle.printing = false;
  EXPECT_EQ(queue_on("/dev/null", {idle}), "");
}

TEST(PrintingUsbQueue, IsThePrintingQueueWithoutADeviceFile) {
  const std::vector<Queue> queues{printing("a", "file:///dev/usb/lp0"),
                                  printing("b", "usb://K905/K905")};
  EXPECT_EQ(printing_usb_queue(queues), &queues[1]);
  EXPECT_EQ(printing_usb_queue({printing("a", "file:///dev/usb/lp0")}), nullptr);
}

}  // namespace
}  // namespace k905
