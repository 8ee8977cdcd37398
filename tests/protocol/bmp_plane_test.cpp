#include "protocol/bmp_plane.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/captured_log.h"
#include "tests/support/system_hooks.h"
#include "tests/support/wire_stream.h"

namespace {

struct FreeDeleter {
  void operator()(void* block) const { std::free(block); }
};
using Image = std::unique_ptr<std::uint8_t[], FreeDeleter>;

std::vector<std::uint8_t> header_bytes(std::uint32_t width, std::uint32_t height, std::size_t from,
                                       std::size_t count) {
  const BmpHeader header = make_bmp_header(width, height);
  return {header.begin() + static_cast<std::ptrdiff_t>(from),
          header.begin() + static_cast<std::ptrdiff_t>(from + count)};
}

TEST(BmpPlanes, HeaderOfASheetMatchesTheOneWrittenByHand) {
  // 1920 = 0x0780, 2498 = 0x09c2, 1920 * 2498 + 1088 = 4797248 = 0x00493340.
  const BmpHeader header = make_bmp_header(1920, 2498);
  const std::string expected = wire_image(1920, 2498, {});
  EXPECT_EQ(std::string(header.begin(), header.end()), expected);
  EXPECT_EQ(header_bytes(1920, 2498, 2, 4), (std::vector<std::uint8_t>{0x40, 0x33, 0x49, 0x00}));
  EXPECT_EQ(header_bytes(1920, 2498, 18, 8),
            (std::vector<std::uint8_t>{0x80, 0x07, 0, 0, 0xc2, 0x09, 0, 0}));
}

TEST(BmpPlanes, SidesKeepTheirLowSixteenBits) {
  // 70000 = 0x11170, 65537 = 0x10001; the size 70000 * 65537 + 1088 = 4587591088 = 0x1117115b0.
  EXPECT_EQ(header_bytes(70000, 65537, 18, 8),
            (std::vector<std::uint8_t>{0x70, 0x11, 0, 0, 0x01, 0x00, 0, 0}));
  EXPECT_EQ(header_bytes(70000, 65537, 2, 4), (std::vector<std::uint8_t>{0xb0, 0x15, 0x71, 0x11}));
}

TEST(BmpPlanes, ImageIsHeaderAndPlaneWithoutRowPadding) {
  const std::vector<std::uint8_t> plane = {1, 2, 3, 250, 251, 252};
  std::size_t size = 0;
  const Image image(k905_build_bmp_plane(3, 2, plane.data(), &size));
  ASSERT_NE(image, nullptr);
  ASSERT_EQ(size, 1094U);
  const BmpHeader header = make_bmp_header(3, 2);
  EXPECT_TRUE(std::equal(header.begin(), header.end(), image.get()));
  EXPECT_EQ(std::vector<std::uint8_t>(image.get() + 1088, image.get() + 1094), plane);
  EXPECT_NE(Image(k905_build_bmp_plane(3, 2, plane.data(), nullptr)), nullptr);
}

TEST(BmpPlanes, MissingMemoryIsLoggedWithTheSize) {
  const hooks::Guard guard;
  const std::uint8_t pixel = 7;
  std::size_t size = 42;
  std::uint8_t* image = nullptr;
  const std::string log = captured_log([&] {
    hooks::malloc_fails = true;
    image = k905_build_bmp_plane(100000, 100000, &pixel, &size);
    hooks::malloc_fails = false;
  });
  // 10^10 pixels: more than 32 bits can count.
  EXPECT_EQ(log, "K905-1: malloc(10000001088) failed for BMP plane\n");
  EXPECT_EQ(image, nullptr);
  EXPECT_EQ(size, 42U);
}

}  // namespace
