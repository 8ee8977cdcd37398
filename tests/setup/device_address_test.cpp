#include "apps/setup/device_address.h"

#include <gtest/gtest.h>

namespace k905 {
namespace {

// The serial number of the USB device is U9, the one in its device ID is 7.
const std::vector<ConnectedDevice> kOneConnected{
    {"usb://K905/K905?serial=7", "MFG:K;MDL:K905;SN:7;"},
    {"k905://usb/U9", "MFG:K;MDL:K905;SN:7;"}};
const std::vector<ConnectedDevice> kTwoConnected{{"k905://usb/7"}, {"k905://usb/8"}};

std::string k905_uri_for(const std::string& device,
                         const std::vector<ConnectedDevice>& connected = {}) {
  return k905_uri_of(device, connected).value_or("");
}

TEST(DeviceAddress, UsbPrinterIsFoundByItsSerialNumber) {
  EXPECT_EQ(k905_uri_for("usb://K905/K905?serial=7"), "k905://usb/7");
  EXPECT_EQ(k905_uri_for("usb://K905/K905?interface=1&serial=B%208"), "k905://usb/B%208");
  EXPECT_EQ(k905_uri_for("usb://K905/K905?serial=7", kTwoConnected), "k905://usb/7");
}

TEST(DeviceAddress, UsbPrinterIsFoundByTheSerialNumberInItsDeviceId) {
  EXPECT_EQ(k905_uri_for("usb://K905/K905?serial=7", kOneConnected), "k905://usb/U9");
  EXPECT_EQ(k905_uri_for("usb://K905/K905?serial=6", kOneConnected), "k905://usb/6");
}

TEST(DeviceAddress, UsbPrinterWithoutSerialNumberIsTheOnlyOneConnected) {
  EXPECT_EQ(k905_uri_for("usb://K905/K905", kOneConnected), "k905://usb/U9");
  EXPECT_EQ(k905_uri_for("usb://K905/K905", kTwoConnected), "");
  EXPECT_EQ(k905_uri_for("usb://K905/K905"), "");
}

TEST(DeviceAddress, NetworkPrinterKeepsHostAndPort) {
  EXPECT_EQ(k905_uri_for("socket://10.0.0.7:9101"), "k905://10.0.0.7:9101");
  EXPECT_EQ(k905_uri_for("socket://booth"), "k905://booth");
  EXPECT_EQ(k905_uri_for("socket://booth:9100/?contimeout=5"), "k905://booth:9100");
  EXPECT_EQ(k905_uri_for("socket://[fe80::1]:9100/"), "k905://[fe80::1]:9100");
  EXPECT_EQ(k905_uri_for("socket://:9100"), "");
}

TEST(DeviceAddress, DeviceFileBecomesPath) {
  EXPECT_EQ(k905_uri_for("/dev/usb/lp0"), "k905:/dev/usb/lp0");
  EXPECT_EQ(k905_uri_for("file:///dev/usb/lp0"), "k905:/dev/usb/lp0");
  EXPECT_EQ(k905_uri_for("file:/dev/usb/lp0"), "k905:/dev/usb/lp0");
  EXPECT_EQ(k905_uri_for("/dev/a%b?c"), "k905:/dev/a%25b%3Fc");
}

TEST(DeviceAddress, AddressTheBackendCannotReachHasNoEquivalent) {
  for (const char* device : {"", "photo", "serial:/dev/ttyS0?baud=9600", "file:///dev/null",
                             "lpd://10.0.0.7/p", "ipp://10.0.0.7/ipp", "k905://host/path"}) {
    EXPECT_EQ(k905_uri_for(device, kOneConnected), "") << device;
  }
}

}  // namespace
}  // namespace k905
