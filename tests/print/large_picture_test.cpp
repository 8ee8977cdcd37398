// A photo of a hundred megapixels is printed like any other.
#include <gtest/gtest.h>

#include "apps/image/picture.h"
#include "tests/apps/picture_files.h"
#include "tests/apps/programs.h"

namespace {

TEST(LargePicture, AHundredMegapixelsPrint) {
  constexpr std::uint32_t width = 12000;
  constexpr std::uint32_t height = 8400;
  const ScratchFolder folder;
  {
    // A sheet shows 1800 x 1197 pixels; each is an average of 12000 / 1800 = 6.7 columns. Red
    // increases with x, green with y.
    std::vector<std::uint8_t> rows;
    rows.reserve(std::size_t{3} * width * height);
    for (std::uint32_t y = 0; y < height; ++y) {
      for (std::uint32_t x = 0; x < width; ++x) {
        rows.push_back(static_cast<std::uint8_t>(x * 255 / (width - 1)));
        rows.push_back(static_cast<std::uint8_t>(y * 255 / (height - 1)));
        rows.push_back(100);
      }
    }
    folder.write("photo.jpg", jpeg_file(width, height, {}, rows));
  }
  const ChildResult result =
      run_program(folder, "k905-print", {"--preview", "sheet.png", "photo.jpg"});
  ASSERT_EQ(result.status, 0) << result.log;
  const k905::Picture sheet = picture_in(folder, "sheet.png");
  // The center of the photo is at the center of the paper.
  const std::uint8_t* middle = sheet.bytes.data() + 598 * sheet.row_bytes() + std::size_t{900} * 3;
  EXPECT_NEAR(middle[0], 127, 2);
  EXPECT_NEAR(middle[1], 127, 2);
  EXPECT_NEAR(middle[2], 100, 2);
  // 8400 rows are cropped to 12000 * 1197 / 1800 = 7980: 210 are removed at the top, which is 6.4
  // of 255.
  const std::uint8_t* corner = sheet.bytes.data();
  EXPECT_NEAR(corner[0], 0, 2);
  EXPECT_NEAR(corner[1], 6, 2);
}

}  // namespace
