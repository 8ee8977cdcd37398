// The debug images, byte for byte.
//
// Their folder is fixed and shared by all programs on the machine, so this program replaces open,
// mkdir, time and malloc: files are in a folder of the test, with a fixed date.

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
#include "tests/support/environment_guard.h"

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kFolder = "/tmp/k905_debug";

// The replacement for kFolder; empty for the real one.
std::string folder_of_this_test;

bool memory_is_short = false;

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

void* __wrap_malloc(std::size_t size) { return memory_is_short ? nullptr : __real_malloc(size); }

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
    char scratch[] = "/tmp/k905_picture_test_XXXXXX";
    scratch_ = mkdtemp(scratch);
    folder_of_this_test = scratch_ + "/pictures";
    tzset();
  }
  ~DebugImage() override {
    folder_of_this_test.clear();
    fs::remove_all(scratch_);
  }

  // A 2 x 2 image with twelve different bytes.
  static std::string save(const char* tag) {
    const std::uint8_t plane0[] = {1, 2, 3, 4};
    const std::uint8_t plane1[] = {101, 102, 103, 104};
    const std::uint8_t plane2[] = {201, 202, 203, 204};
    return captured_log([&] { save_debug_image(tag, plane0, plane1, plane2, 2, 2); });
  }

  static std::string content(const std::string& file_name) {
    std::ifstream file(folder_of_this_test + "/" + file_name, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << file_name;
    return {std::istreambuf_iterator<char>(file), {}};
  }

  std::string scratch_;

 private:
  EnvironmentGuard ppd_;
  EnvironmentGuard zone_;
};

const std::string kSmallPicture("P6\n2 2\n255\n\x01\x65\xC9\x02\x66\xCA\x03\x67\xCB\x04\x68\xCC",
                                23);

TEST_F(DebugImage, IsAPpmOfOneByteOfEachPlaneAPixel) {
  save("01_original");
  EXPECT_EQ(content("20260116_093015_01_original.ppm"), kSmallPicture);
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

TEST_F(DebugImage, IsNotSavedUnderThePrintSystem) {
  for (const char* ppd : {"/etc/cups/ppd/K905.ppd", ""}) {
    const EnvironmentGuard guard("PPD", ppd);
    EXPECT_FALSE(debug_images_wanted());
    EXPECT_EQ(save("01_original"), "");
    EXPECT_FALSE(fs::exists(folder_of_this_test));
  }
  EXPECT_TRUE(debug_images_wanted());
}

TEST_F(DebugImage, MakesTheMissingFolder) {
  const mode_t umask_before = umask(0);
  save("01_original");
  umask(umask_before);
  struct stat folder {};
  ASSERT_EQ(stat(folder_of_this_test.c_str(), &folder), 0);
  EXPECT_TRUE(S_ISDIR(folder.st_mode));
  EXPECT_EQ(folder.st_mode & 07777U, 0755U);
}

TEST_F(DebugImage, KeepsAFolderThatIsThere) {
  fs::create_directory(folder_of_this_test);
  fs::permissions(folder_of_this_test, fs::perms::owner_all);
  std::ofstream(folder_of_this_test + "/of_yesterday.ppm") << "kept";
  save("01_original");
  EXPECT_EQ(content("of_yesterday.ppm"), "kept");
  EXPECT_EQ(fs::status(folder_of_this_test).permissions(), fs::perms::owner_all);
}

TEST_F(DebugImage, FileCanBeReadByEverybodyTheUmaskAllows) {
  const mode_t umask_before = umask(022);
  save("01_original");
  umask(umask_before);
  struct stat file {};
  ASSERT_EQ(stat((folder_of_this_test + "/20260116_093015_01_original.ppm").c_str(), &file), 0);
  EXPECT_EQ(file.st_mode & 07777U, 0644U);
}

TEST_F(DebugImage, SameTagInTheSameSecondOverwrites) {
  fs::create_directory(folder_of_this_test);
  std::ofstream(folder_of_this_test + "/20260116_093015_01_original.ppm")
      << "something longer than the picture that takes its place";
  save("01_original");
  EXPECT_EQ(content("20260116_093015_01_original.ppm"), kSmallPicture);
}

TEST_F(DebugImage, DifferentTagsDoNotCollide) {
  save("04a_before_mirror");
  save("04b_after_mirror");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_of_this_test), {}), 2);
}

TEST_F(DebugImage, DoesNotFollowALink) {
  fs::create_directory(folder_of_this_test);
  std::ofstream(scratch_ + "/victim") << "untouched";
  fs::create_symlink(scratch_ + "/victim",
                     folder_of_this_test + "/20260116_093015_01_original.ppm");
  EXPECT_EQ(save("01_original"),
            "K905-1: ERROR: Cannot save debug image "
            "/tmp/k905_debug/20260116_093015_01_original.ppm\n");
  std::string text;
  std::getline(std::ifstream(scratch_ + "/victim"), text);
  EXPECT_EQ(text, "untouched");
}

TEST_F(DebugImage, DoesNotFollowALinkInItsFoldersPlace) {
  fs::create_directory(scratch_ + "/victim");
  fs::create_symlink(scratch_ + "/victim", folder_of_this_test);
  EXPECT_EQ(save("01_original"),
            "K905-1: ERROR: Cannot save debug image "
            "/tmp/k905_debug/20260116_093015_01_original.ppm\n");
  EXPECT_TRUE(fs::is_empty(scratch_ + "/victim"));
}

TEST_F(DebugImage, DoesNotEmptyASecondNameOfAFile) {
  fs::create_directory(folder_of_this_test);
  std::ofstream(scratch_ + "/victim") << "untouched";
  fs::create_hard_link(scratch_ + "/victim",
                       folder_of_this_test + "/20260116_093015_01_original.ppm");
  EXPECT_EQ(save("01_original"),
            "K905-1: ERROR: Cannot save debug image "
            "/tmp/k905_debug/20260116_093015_01_original.ppm\n");
  EXPECT_EQ(content("20260116_093015_01_original.ppm"), "untouched");
}

TEST_F(DebugImage, DoesNotWaitForTheReaderOfAPipe) {
  fs::create_directory(folder_of_this_test);
  ASSERT_EQ(mkfifo((folder_of_this_test + "/20260116_093015_01_original.ppm").c_str(), 0600), 0);
  EXPECT_EQ(save("01_original"),
            "K905-1: ERROR: Cannot save debug image "
            "/tmp/k905_debug/20260116_093015_01_original.ppm\n");
}

TEST_F(DebugImage, ThatCannotBeOpenedIsToldAndSkipped) {
  std::ofstream(folder_of_this_test) << "a file where the folder should be";
  EXPECT_EQ(save("07_rotated"),
            "K905-1: ERROR: Cannot save debug image "
            "/tmp/k905_debug/20260116_093015_07_rotated.ppm\n");
}

TEST_F(DebugImage, WithoutHeightOrWidthHasOnlyItsHeader) {
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

// 997 x 211 = 210367 pixels: many times what is written at once, and no multiple of it.
TEST_F(DebugImage, ManyPixelsAreComplete) {
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

// Debug images must be saved after errors, and the most frequent error is missing memory.
TEST_F(DebugImage, IsSavedWhenMemoryIsShort) {
  memory_is_short = true;
  save("01_original");
  memory_is_short = false;
  EXPECT_EQ(content("20260116_093015_01_original.ppm"), kSmallPicture);
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
