// Files of a few bytes whose headers declare a photo of gigabytes, and one without an end: each is
// refused by name, with little memory, and all other photos are printed.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vips/vips.h>

#include <csignal>
#include <filesystem>

#include "apps/wire/printer_stream.h"
#include "tests/apps/picture_files.h"
#include "tests/apps/programs.h"
#include "tests/print/running_program.h"
#include "tests/support/build_paths.h"
#include "tests/support/child_process.h"

namespace {

using testing::HasSubstr;

constexpr std::uint32_t kSide = 16384;
constexpr std::uint16_t kPatchedSide = 16384;
constexpr long kEnoughMemoryKib = 300L * 1024;

// libvips 8.16 keeps more rows of a photo that it scales than 8.14 does: 20 MB of this one.
long memory_of_photo_kib() {
  const bool has_small_buffers = vips_version(0) == 8 && vips_version(1) <= 14;
  return (has_small_buffers ? 64'000'000L : 84'000'000L) / 1024;
}

// The highest peak memory of all children that have ended, including their own children.
long peak_memory_of_children_kib() {
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  return usage.ru_maxrss;
}

// A valid progressive JPEG of 8 x 8 whose frame header is changed to declare a larger size.
std::string progressive_jpeg_with_huge_size() {
  std::string bytes =
      jpeg_file(8, 8, {.progressive = true}, std::vector<std::uint8_t>(std::size_t{3} * 64, 99));
  const std::size_t frame = bytes.find("\xFF\xC2");
  EXPECT_NE(frame, std::string::npos);
  // FF C2, length (2 bytes), bits, height, width
  for (const std::size_t at : {frame + 5, frame + 7}) {
    bytes[at] = static_cast<char>(kPatchedSide >> 8);
    bytes[at + 1] = static_cast<char>(kPatchedSide & 0xFF);
  }
  return bytes;
}

class PhotoMemory : public testing::Test {
 protected:
  // Writes all files that must be refused, and returns their names.
  std::vector<std::string> put_oversized_files(const std::string& prefix) const {
    folder_.write(prefix + "b1.png", png_without_pixels(kSide, kSide, {6, 16, true}));
    folder_.write(prefix + "b2.png", png_without_pixels(kSide, kSide, {2, 16, true}));
    folder_.write(prefix + "b3.jpg", progressive_jpeg_with_huge_size());
    return {"b1.png", "b2.png", "b3.jpg"};
  }

  // Photos of 24 megapixels, as a camera stores them in landscape and in portrait orientation.
  void put_large_photos() const {
    constexpr std::uint32_t kWidth = 6000;
    constexpr std::uint32_t kHeight = 4000;
    std::vector<std::uint8_t> rows(std::size_t{3} * kWidth * kHeight);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      rows[i] = static_cast<std::uint8_t>(i / 3 % kWidth / 32 + i % 3 * 20);
    }
    folder_.write("across.jpg", jpeg_file(kWidth, kHeight, {}, rows));
    folder_.write("upright.jpg", jpeg_file(kWidth, kHeight, {.orientation = 6}, rows));
  }

  void put_good_file(const std::string& name) const {
    folder_.write(name, png_file(3, 2, {}, std::vector<std::uint8_t>(18, 77)));
  }

  [[nodiscard]] std::size_t sheets_in(const std::string& name) const {
    const std::string bytes = folder_.read(name).value_or("");
    return k905::parse_printer_stream(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                      bytes.size())
        .sheets.size();
  }

  ScratchFolder folder_;
};

// The memory for a photo depends on the sheet and on a few rows of the photo. Must be the first
// test, because the peak of all children counts.
TEST_F(PhotoMemory, JpegOf24MegapixelsTakesAtMost64Or84Megabytes) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer uses additional memory";
#endif
  put_large_photos();  // their memory is released before a child is forked
  for (const std::string photo : {"across.jpg", "upright.jpg"}) {
    const ChildResult printed = run_program(folder_, "k905-print", {"--to", "job.prn", photo});
    EXPECT_EQ(printed.status, 0) << printed.log;
    ChildSetup filter;
    filter.program = K905_BINARY_DIR "/phototok905";
    filter.arguments = {"phototok905", "1", "me", "a photo", "1", "", folder_.path() + "/" + photo};
    filter.environment = {{"PPD", K905_BINARY_DIR "/ppd/K905.ppd"}, {"CONTENT_TYPE", "image/jpeg"}};
    const ChildResult filtered = run_child(filter);
    EXPECT_EQ(filtered.status, 0) << filtered.log;
    EXPECT_LT(peak_memory_of_children_kib(), memory_of_photo_kib()) << photo;
  }
}

TEST_F(PhotoMemory, OversizedPhotosAreRefusedByNameAndTheOthersPrint) {
  put_good_file("a.png");
  put_good_file("c.png");
  std::vector<std::string> arguments{"--preview", "sheet.png", "a.png"};
  const std::vector<std::string> oversized = put_oversized_files("");
  arguments.insert(arguments.end(), oversized.begin(), oversized.end());
  arguments.emplace_back("c.png");
  const ChildResult result = run_program(folder_, "k905-print", arguments);
  EXPECT_EQ(result.status, 1);
  for (const std::string& name : oversized) {
    EXPECT_THAT(result.log, HasSubstr("k905-print: " + name + ": "));
    EXPECT_THAT(result.log, HasSubstr("too large (16384 x 16384"));
  }
  EXPECT_TRUE(folder_.read("sheet.png"));
  EXPECT_TRUE(folder_.read("sheet-2.png"));
  EXPECT_FALSE(folder_.read("sheet-3.png"));
  EXPECT_LT(peak_memory_of_children_kib(), kEnoughMemoryKib);
}

TEST_F(PhotoMemory, OversizedPhotosInAWatchedFolderDoNotStopIt) {
  std::filesystem::create_directory(folder_.path() + "/in");
  const std::vector<std::string> oversized = put_oversized_files("in/");
  put_good_file("in/a.png");
  put_good_file("in/c.png");
  const std::string job = folder_.path() + "/job.prn";
  RunningProgram program(
      K905_BINARY_DIR "/k905-print", {"--watch", folder_.path() + "/in", "--to", job},
      {{"XDG_STATE_HOME", folder_.path() + "/state"}, {"PATH", "/usr/bin:/bin"}});
  for (const std::string& name : oversized) {
    EXPECT_TRUE(program.wait_for_output(name + ": ")) << program.output();
  }
  for (const std::string name : {"a.png", "c.png"}) {
    EXPECT_TRUE(program.wait_for_output(name + " -> " + job)) << program.output();
  }
  program.send_signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_EQ(sheets_in("job.prn"), 2U);
  EXPECT_LT(peak_memory_of_children_kib(), kEnoughMemoryKib);
}

// All of its pixels exist: zeros that use no space on the disk. It may be printed or refused.
TEST_F(PhotoMemory, HugePpmCostsLittleMemoryAndTheNextPhotoPrints) {
  const std::string file = folder_.write("b.ppm", "P6 16384 16384 65535\n");
  std::filesystem::resize_file(file, 21 + std::uintmax_t{6} * kSide * kSide);
  put_good_file("c.png");
  const ChildResult result =
      run_program(folder_, "k905-print", {"--to", "job.prn", "b.ppm", "c.png"});
  EXPECT_THAT(result.output, HasSubstr("c.png -> job.prn\n"));
  EXPECT_EQ(sheets_in("job.prn"), result.status == 0 ? 2U : 1U) << result.log;
  EXPECT_LT(peak_memory_of_children_kib(), kEnoughMemoryKib);
}

// A FIFO instead of a photo must stop neither the program nor the printing of later photos.
TEST_F(PhotoMemory, NonregularFileIsRefusedAtOnce) {
  ASSERT_EQ(mkfifo((folder_.path() + "/fifo.png").c_str(), 0600), 0);
  ASSERT_EQ(mkfifo((folder_.path() + "/held.png").c_str(), 0600), 0);
  // Another process has this one open and writes nothing.
  const int held = open((folder_.path() + "/held.png").c_str(), O_RDWR | O_CLOEXEC);
  std::filesystem::create_symlink("/dev/zero", folder_.path() + "/zero.png");
  put_good_file("c.png");
  const ChildResult result =
      run_program(folder_, "k905-print",
                  {"--preview", "sheet.png", "fifo.png", "held.png", "zero.png", "c.png"});
  close(held);
  EXPECT_EQ(result.status, 1);
  for (const std::string name : {"fifo.png", "held.png", "zero.png"}) {
    EXPECT_THAT(result.log, HasSubstr("k905-print: " + name + ": not a regular file\n"));
  }
  EXPECT_TRUE(folder_.read("sheet.png"));
}

}  // namespace
