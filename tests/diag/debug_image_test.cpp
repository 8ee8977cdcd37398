// The images of the stages, byte for byte.
//
// Their folder is fixed and shared by all users, so this program is linked with replacements of
// open, mkdir, time and malloc: the folder is a scratch folder of the test, and the time is fixed.

#include "diag/debug_image.h"

#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/captured_log.h"
#include "tests/support/child_process.h"
#include "tests/support/environment_guard.h"

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kFolder = "/tmp/k905_debug";

// The replacement for kFolder; empty for the real one.
std::string folder_of_this_test;

bool malloc_fails = false;

std::string redirected(const char* path) {
  const std::string_view text = path;
  if (folder_of_this_test.empty() || !text.starts_with(kFolder)) {
    return path;
  }
  return folder_of_this_test + (path + kFolder.size());
}

}  // namespace

extern "C" {
int __real_open(const char* path, int flags, mode_t mode);
void* __real_malloc(std::size_t size);
int __real_mkdir(const char* path, mode_t mode);

int __wrap_open(const char* path, int flags, mode_t mode) {
  return __real_open(redirected(path).c_str(), flags, mode);
}

int __wrap_mkdir(const char* path, mode_t mode) {
  return __real_mkdir(redirected(path).c_str(), mode);
}

void* __wrap_malloc(std::size_t size) { return malloc_fails ? nullptr : __real_malloc(size); }

// 16 January 2026, 09:30:15 in universal time.
std::time_t __wrap_time(std::time_t* result) {
  const std::time_t moment = 1768555815;
  if (result != nullptr) {
    *result = moment;
  }
  return moment;
}
}

namespace {

class DebugImage : public ::testing::Test {
 protected:
  DebugImage() : ppd_("PPD", nullptr), zone_("TZ", "UTC0") {
    folder_of_this_test = scratch_ + "/images";
    tzset();
  }
  ~DebugImage() override { folder_of_this_test.clear(); }

  // A 2 x 2 image with twelve different bytes.
  static std::string save(const char* tag) {
    const std::uint8_t plane0[] = {1, 2, 3, 4};
    const std::uint8_t plane1[] = {101, 102, 103, 104};
    const std::uint8_t plane2[] = {201, 202, 203, 204};
    return captured_log([&] { save_debug_image(tag, plane0, plane1, plane2, 2, 2); });
  }

  static std::string content(const std::string& file_name) {
    return read_file(folder_of_this_test + "/" + file_name);
  }

  ScratchFolder folder_;
  std::string scratch_ = folder_.path();

 private:
  EnvironmentGuard ppd_;
  EnvironmentGuard zone_;
};

const std::string kSmallImage("P6\n2 2\n255\n\x01\x65\xC9\x02\x66\xCA\x03\x67\xCB\x04\x68\xCC", 23);

TEST_F(DebugImage, IsAPpmWithOneByteOfEachPlanePerPixel) {
  save("01_original");
  EXPECT_EQ(content("20260116_093015_01_original.ppm"), kSmallImage);
}

TEST_F(DebugImage, IsNamedByLocalTimeAndTagAndLogged) {
  EXPECT_EQ(
      save("01_original"),
      "K905-1: Saved debug image: /tmp/k905_debug/20260116_093015_01_original.ppm (2x2, RGB)\n");
  const EnvironmentGuard zone("TZ", "EAST-3");
  tzset();
  EXPECT_EQ(save("09_final_canvas"),
            "K905-1: Saved debug image: /tmp/k905_debug/20260116_123015_09_final_canvas.ppm (2x2, "
            "RGB)\n");
}

TEST_F(DebugImage, IsNotSavedWhenThePrintSystemStartedTheFilter) {
  for (const char* ppd : {"/etc/cups/ppd/K905.ppd", ""}) {
    const EnvironmentGuard guard("PPD", ppd);
    EXPECT_FALSE(debug_images_wanted());
    EXPECT_EQ(save("01_original"), "");
    EXPECT_FALSE(fs::exists(folder_of_this_test));
  }
  EXPECT_TRUE(debug_images_wanted());
}

TEST_F(DebugImage, MakesItsFolderAndFileReadableAndKeepsAnExistingFolder) {
  const mode_t umask_before = umask(0);
  save("01_original");
  umask(umask_before);
  const auto mode_of = [](const std::string& path) {
    return static_cast<unsigned>(fs::status(path).permissions());
  };
  EXPECT_EQ(mode_of(folder_of_this_test), 0755U);
  EXPECT_EQ(mode_of(folder_of_this_test + "/20260116_093015_01_original.ppm"), 0666U);
  fs::permissions(folder_of_this_test, fs::perms::owner_all);
  save("04a_before_mirror");
  EXPECT_EQ(mode_of(folder_of_this_test), 0700U);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_of_this_test), {}), 2);
}

TEST_F(DebugImage, SameTagAndSecondOverwriteThePreviousImage) {
  fs::create_directory(folder_of_this_test);
  std::ofstream(folder_of_this_test + "/20260116_093015_01_original.ppm")
      << "something longer than the image that takes its place";
  save("01_original");
  EXPECT_EQ(content("20260116_093015_01_original.ppm"), kSmallImage);
}

constexpr char kNotSaved[] =
    "K905-1: ERROR: Cannot save debug image /tmp/k905_debug/20260116_093015_01_original.ppm\n";

TEST_F(DebugImage, IsNotSavedThroughALinkOrIntoAFifoOrWithAFileInPlaceOfTheFolder) {
  const std::string image = folder_of_this_test + "/20260116_093015_01_original.ppm";
  const std::string victim = scratch_ + "/victim";
  std::ofstream(victim) << "untouched";
  std::ofstream(folder_of_this_test) << "a file in place of the folder";
  EXPECT_EQ(save("01_original"), kNotSaved);
  fs::remove(folder_of_this_test);
  fs::create_directory(scratch_ + "/elsewhere");
  fs::create_symlink(scratch_ + "/elsewhere", folder_of_this_test);
  EXPECT_EQ(save("01_original"), kNotSaved);
  EXPECT_TRUE(fs::is_empty(scratch_ + "/elsewhere"));
  fs::remove(folder_of_this_test);
  fs::create_directory(folder_of_this_test);
  fs::create_symlink(victim, image);
  EXPECT_EQ(save("01_original"), kNotSaved);
  fs::remove(image);
  fs::create_hard_link(victim, image);
  EXPECT_EQ(save("01_original"), kNotSaved);
  fs::remove(image);
  ASSERT_EQ(mkfifo(image.c_str(), 0600), 0);
  EXPECT_EQ(save("01_original"), kNotSaved);
  EXPECT_EQ(read_file(victim), "untouched");
}

TEST_F(DebugImage, WithoutHeightOrWidthIsItsHeaderAlone) {
  const std::uint8_t nothing[] = {0};
  const auto save_sized = [&](const char* tag, unsigned width, int height) {
    return captured_log([&] { save_debug_image(tag, nothing, nothing, nothing, width, height); });
  };
  EXPECT_EQ(save_sized("flat", 5, 0),
            "K905-1: Saved debug image: /tmp/k905_debug/20260116_093015_flat.ppm (5x0, RGB)\n");
  EXPECT_EQ(content("20260116_093015_flat.ppm"), "P6\n5 0\n255\n");
  EXPECT_EQ(
      save_sized("negative", 5, -3),
      "K905-1: Saved debug image: /tmp/k905_debug/20260116_093015_negative.ppm (5x-3, RGB)\n");
  EXPECT_EQ(content("20260116_093015_negative.ppm"), "P6\n5 -3\n255\n");
  EXPECT_EQ(save_sized("thin", 0, 4),
            "K905-1: Saved debug image: /tmp/k905_debug/20260116_093015_thin.ppm (0x4, RGB)\n");
  EXPECT_EQ(content("20260116_093015_thin.ppm"), "P6\n0 4\n255\n");
}

// 997 x 211 = 210367 pixels: many times the size of one write, and not a multiple of it.
TEST_F(DebugImage, LargeImageIsComplete) {
  const unsigned width = 997;
  const int height = 211;
  std::vector<std::uint8_t> planes[3];
  std::string expected = "P6\n997 211\n255\n";
  for (std::uint32_t i = 0; i < width * height; ++i) {
    for (std::uint32_t p = 0; p < 3; ++p) {
      const auto byte = static_cast<std::uint8_t>((i * 2654435761U + p * 77U) >> 13);
      planes[p].push_back(byte);
      expected += static_cast<char>(byte);
    }
  }
  captured_log([&] {
    save_debug_image("large", planes[0].data(), planes[1].data(), planes[2].data(), width, height);
  });
  EXPECT_TRUE(content("20260116_093015_large.ppm") == expected);
}

TEST_F(DebugImage, NameIsCutToTwoHundredFiftyFiveCharacters) {
  // 32 characters come before the tag.
  const std::string log = save(std::string(300, 't').c_str());
  EXPECT_EQ(log, "K905-1: Saved debug image: /tmp/k905_debug/20260116_093015_" +
                     std::string(255 - 32, 't') + " (2x2, RGB)\n");
}

TEST_F(DebugImage, IsSavedWithoutMemory) {
  malloc_fails = true;
  save("01_original");
  malloc_fails = false;
  EXPECT_EQ(content("20260116_093015_01_original.ppm"), kSmallImage);
}

TEST_F(DebugImage, LeavesNoDescriptorOpen) {
  const auto open_descriptors = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), {});
  };
  const auto before = open_descriptors();
  save("01_original");
  EXPECT_EQ(open_descriptors(), before);
}

}  // namespace
