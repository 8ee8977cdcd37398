// A folder with the structure of sysfs: lpN/device is a link to the interface, whose parent folder
// is the USB device with the serial number.

#include "device/usb_printers.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/child_process.h"

namespace k905 {
namespace {

class UsbPrinters : public testing::Test {
 protected:
  UsbPrinters() {
    folders_.devices = root_ / "class";
    std::filesystem::create_directory(folders_.devices);
  }

  void connect(const std::string& name, const std::string& serial, const std::string& id) {
    const std::filesystem::path device = root_ / ("usb-" + name);
    std::filesystem::create_directories(device / "interface");
    if (!serial.empty()) {
      std::ofstream(device / "serial") << serial << "\n";
    }
    std::ofstream(device / "interface" / "ieee1284_id") << id << "\n";
    std::filesystem::create_directory(folders_.devices / name);
    std::filesystem::create_directory_symlink(device / "interface",
                                              folders_.devices / name / "device");
  }

  ScratchFolder scratch_;
  std::filesystem::path root_ = scratch_.path();
  UsbFolders folders_;
};

TEST_F(UsbPrinters, ThoseOfTheFamilyAreListedWithModelAndSerialNumber) {
  connect("lp1", "B2", "MFG:X;CMD:Y;MDL:RV-40W Photo;CLS:PRINTER;");
  connect("lp0", "A1", "MDL:K905;MFG:X;");
  connect("lp2", "C3", "MFG:X;MODEL:RS-30;");
  const std::vector<UsbPrinter> printers = connected_usb_printers(folders_);
  ASSERT_EQ(printers.size(), 3U);
  EXPECT_EQ(printers[0].path, "/dev/usb/lp0");
  EXPECT_EQ(printers[0].serial, "A1");
  EXPECT_EQ(printers[0].model, "K905");
  EXPECT_EQ(printers[0].device_id, "MDL:K905;MFG:X;");
  EXPECT_EQ(printers[1].model, "RV-40W");
  EXPECT_EQ(printers[2].model, "RS-30");
}

TEST_F(UsbPrinters, OtherPrintersAreNotListed) {
  connect("lp0", "A1", "MFG:K905;MDL:LaserWriter;");
  connect("lp1", "B2", "");
  connect("hiddev0", "C3", "MDL:K905;");
  EXPECT_TRUE(connected_usb_printers(folders_).empty());
}

TEST_F(UsbPrinters, APrinterWithoutSerialNumberIsListedByItsPath) {
  connect("lp3", "", "MDL:K905;");
  const std::vector<UsbPrinter> printers = connected_usb_printers(folders_);
  ASSERT_EQ(printers.size(), 1U);
  EXPECT_EQ(printers[0].serial, "");
  EXPECT_EQ(printers[0].path, "/dev/usb/lp3");
}

TEST_F(UsbPrinters, DeviceFileIsFoundBySerialNumberWhateverTheModel) {
  connect("lp0", "A1", "MDL:K905;");
  connect("lp1", "B2", "MDL:Unheard;");
  EXPECT_EQ(usb_device_file("B2", folders_), "/dev/usb/lp1");
  EXPECT_EQ(usb_device_file("A", folders_), "");
}

TEST_F(UsbPrinters, NothingIsFoundWithoutTheKernelsFolder) {
  folders_.devices = root_ / "nowhere";
  EXPECT_TRUE(connected_usb_printers(folders_).empty());
  EXPECT_EQ(usb_device_file("A1", folders_), "");
}

}  // namespace
}  // namespace k905
