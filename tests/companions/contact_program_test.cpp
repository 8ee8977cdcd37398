// k905-contact, the demo's tool that puts pictures side by side.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/companions/programs.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::vector<int> pixel(const Picture& picture, std::uint32_t x, std::uint32_t y) {
  const std::size_t at = (std::size_t{y} * picture.width + x) * 3;
  return {picture.bytes[at], picture.bytes[at + 1], picture.bytes[at + 2]};
}

TEST(ContactProgram, PutsPicturesSideBySideWithTheirNames) {
  const ScratchFolder folder;
  folder.write("a.ppm", "P6 1 1 255\nabc");
  folder.write("b.pgm", "P5 1 2 255\nxx");
  const ChildResult result = run_companion(
      folder, "k905-contact", {"-o", "out.png", "-w", "20", "-c", "5", "T=a.ppm", "b.pgm"});
  ASSERT_EQ(result.status, 0) << result.log;
  const Picture sheet = picture_in(folder, "out.png");
  // Two columns of 20 with gaps of 12; one row of 40 (the taller picture), a caption of 14 + 6 and
  // gaps of 12.
  EXPECT_EQ(sheet.width, 2U * 32 + 12);
  EXPECT_EQ(sheet.height, 40U + 20 + 12 + 12);
  EXPECT_EQ(pixel(sheet, 12, 12), (std::vector<int>{'a', 'b', 'c'}));
  EXPECT_EQ(pixel(sheet, 31, 31), (std::vector<int>{'a', 'b', 'c'}));
  EXPECT_EQ(pixel(sheet, 44, 51), (std::vector<int>{'x', 'x', 'x'}));
  // The bar of the T is five dots of two pixels; its stem stands under the third.
  const std::uint32_t caption = 12 + 40 + 6;
  EXPECT_EQ(pixel(sheet, 12, caption), (std::vector<int>{0, 0, 0}));
  EXPECT_EQ(pixel(sheet, 21, caption + 1), (std::vector<int>{0, 0, 0}));
  EXPECT_EQ(pixel(sheet, 22, caption), (std::vector<int>{222, 222, 222}));
  EXPECT_EQ(pixel(sheet, 16, caption + 13), (std::vector<int>{0, 0, 0}));
  EXPECT_EQ(pixel(sheet, 14, caption + 13), (std::vector<int>{222, 222, 222}));
}

TEST(ContactProgram, ACaptionMayHoldAnEqualsSign) {
  const ScratchFolder folder;
  folder.write("a.ppm", "P6 1 1 255\nabc");
  EXPECT_EQ(run_companion(folder, "k905-contact", {"-o", "out.png", "gamma=1600=a.ppm"}).status, 0);
}

TEST(ContactProgram, SaysWhatIsWrong) {
  const ScratchFolder folder;
  const ChildResult missing = run_companion(folder, "k905-contact", {"-o", "out.png", "x=no.png"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.log, "k905-contact: no.png: No such file or directory\n");
  const ChildResult usage = run_companion(folder, "k905-contact", {"-o", "out.png"});
  EXPECT_EQ(usage.status, 2);
  EXPECT_THAT(usage.log, StartsWith("k905-contact: "));
  EXPECT_THAT(run_companion(folder, "k905-contact", {"--help"}).output, HasSubstr("--columns"));
}

}  // namespace
