#include "device/printer_address.h"

#include <gtest/gtest.h>

namespace k905 {
namespace {

using Kind = PrinterAddress::Kind;

PrinterAddress path(const char* name) { return {.kind = Kind::kPath, .name = name, .port = ""}; }
PrinterAddress serial(const char* name) {
  return {.kind = Kind::kSerial, .name = name, .port = ""};
}
PrinterAddress network(const char* host, const char* port) {
  return {.kind = Kind::kNetwork, .name = host, .port = port};
}

TEST(DeviceUri, NamesASerialNumberAPathOrANetworkAddress) {
  EXPECT_EQ(parse_device_uri("k905://usb/K9051234"), serial("K9051234"));
  EXPECT_EQ(parse_device_uri("k905:/dev/usb/lp0"), path("/dev/usb/lp0"));
  EXPECT_EQ(parse_device_uri("k905://printer.local:9101"), network("printer.local", "9101"));
  EXPECT_EQ(parse_device_uri("k905://10.0.0.7"), network("10.0.0.7", "9100"));
  EXPECT_EQ(parse_device_uri("k905://10.0.0.7:9100/"), network("10.0.0.7", "9100"));
  EXPECT_EQ(parse_device_uri("k905://[fe80::1]:9100"), network("fe80::1", "9100"));
  EXPECT_EQ(parse_device_uri("k905://[fe80::1]"), network("fe80::1", "9100"));
}

TEST(DeviceUri, OptionsAreNotPartOfTheAddress) {
  EXPECT_EQ(parse_device_uri("k905://usb/A?settle=3"), serial("A"));
  EXPECT_EQ(parse_device_uri("k905:/dev/usb/lp0?settle=3"), path("/dev/usb/lp0"));
  EXPECT_EQ(parse_device_uri("k905://host:1/?settle=3"), network("host", "1"));
}

TEST(DeviceUri, EscapesAreDecoded) {
  EXPECT_EQ(parse_device_uri("k905://usb/A%20%2fb"), serial("A /b"));
  EXPECT_EQ(parse_device_uri("k905:/dev/x%2Dy"), path("/dev/x-y"));
}

TEST(DeviceUri, AnythingElseIsRefused) {
  for (const char* uri : {"",
                          "k905",
                          "k905:",
                          "k905:lp0",
                          "k905://",
                          "k905://usb",
                          "k905://usb/",
                          "usb://usb/A",
                          "k905://host:0",
                          "k905://host:65536",
                          "k905://host:x",
                          "k905://host:",
                          "k905://:9100",
                          "k905://host/path",
                          "k905://[fe80::1",
                          "k905://[fe80::1]x:9",
                          "k905://usb/A%",
                          "k905://usb/%4",
                          "k905://usb/%00",
                          "k905://usb/%zz"}) {
    EXPECT_FALSE(parse_device_uri(uri).has_value()) << uri;
  }
}

TEST(DeviceUri, SerialNumberIsReadBackFromItsUri) {
  for (const char* text : {"K9051234", "with blank", "a/b?c#d%e&f=g", "\xc3\xa4"}) {
    EXPECT_EQ(parse_device_uri(usb_device_uri(text)), serial(text));
  }
  EXPECT_EQ(usb_device_uri("A b"), "k905://usb/A%20b");
}

TEST(DeviceUri, OptionsAreFoundByTheirCompleteName) {
  const char* uri = "k905://host:1/?settle=3&check-media=no&empty=&flag";
  EXPECT_EQ(device_uri_option(uri, "settle"), "3");
  EXPECT_EQ(device_uri_option(uri, "check-media"), "no");
  EXPECT_EQ(device_uri_option(uri, "empty"), "");
  EXPECT_EQ(device_uri_option(uri, "flag"), "");
  EXPECT_EQ(device_uri_option(uri, "media"), std::nullopt);
  EXPECT_EQ(device_uri_option("k905://host:1", "settle"), std::nullopt);
  EXPECT_EQ(device_uri_option("k905://host:1/?", "settle"), std::nullopt);
}

TEST(PrinterName, IsAPathASerialNumberOrANetworkAddress) {
  EXPECT_EQ(parse_printer_name("/dev/usb/lp0"), path("/dev/usb/lp0"));
  EXPECT_EQ(parse_printer_name("./pts"), path("./pts"));
  EXPECT_EQ(parse_printer_name("K9051234"), serial("K9051234"));
  EXPECT_EQ(parse_printer_name("host:9100"), network("host", "9100"));
  EXPECT_EQ(parse_printer_name("host:"), std::nullopt);
  EXPECT_EQ(parse_printer_name(""), std::nullopt);
}

TEST(PrinterName, IsShownAsItIsWritten) {
  EXPECT_EQ(to_string(path("/dev/usb/lp0")), "/dev/usb/lp0");
  EXPECT_EQ(to_string(serial("K9051234")), "K9051234");
  EXPECT_EQ(to_string(network("host", "9100")), "host:9100");
}

}  // namespace
}  // namespace k905
