// Photo files of every format: pixels, depth, orientation, profiles, and malformed files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cctype>
#include <fstream>
#include <random>

#include "apps/image/photo.h"
#include "tests/apps/picture_files.h"
#include "tests/support/build_paths.h"
#include "tests/support/child_process.h"

namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::Ge;
using testing::HasSubstr;
using testing::Le;
using namespace std::string_literals;

// Decodes the bytes of a file; fails the test if this is not possible.
k905::Picture read_bytes(const std::string& bytes) {
  const ScratchFolder folder;
  std::string error;
  const auto picture = k905::read_photo(folder.write("picture", bytes), error);
  EXPECT_TRUE(picture) << error;
  return picture.value_or(k905::Picture{});
}

std::string error_of(const std::string& bytes) {
  const ScratchFolder folder;
  std::string error;
  const auto picture = k905::read_photo(folder.write("picture", bytes), error);
  return picture ? "no error" : error;
}

std::vector<std::uint8_t> plain_rows(std::size_t pixels, const std::vector<std::uint8_t>& pixel) {
  std::vector<std::uint8_t> rows;
  for (std::size_t i = 0; i < pixels; ++i) {
    rows.insert(rows.end(), pixel.begin(), pixel.end());
  }
  return rows;
}

// --- PNG

TEST(PhotoPng, EightBitColorIsUnchanged) {
  const k905::Picture picture = read_bytes(png_file(3, 2, {}, numbered(18)));
  EXPECT_EQ(picture.width, 3U);
  EXPECT_EQ(picture.height, 2U);
  EXPECT_EQ(picture.channels, 3);
  EXPECT_EQ(picture.bits, 8);
  EXPECT_EQ(picture.bytes, numbered(18));
}

TEST(PhotoPng, SixteenBitsKeepBothBytes) {
  const k905::Picture picture =
      read_bytes(png_file(1, 1, {.color_type = 2, .bits = 16}, {1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(picture.bits, 16);
  EXPECT_EQ(picture.sample(0, 0, 0), 0x0102);
  EXPECT_EQ(picture.sample(0, 0, 2), 0x0506);
}

TEST(PhotoPng, OneBitGrayBecomesEightBits) {
  const k905::Picture picture = read_bytes(png_file(3, 1, {.color_type = 0, .bits = 1}, {0xA0}));
  EXPECT_EQ(picture.channels, 1);
  EXPECT_THAT(picture.bytes, ElementsAre(255, 0, 255));
}

TEST(PhotoPng, PaletteIsResolvedAndItsTransparentEntryIsWhite) {
  // Two bits a pixel: entries 0, 1, 2, 3.
  const k905::Picture picture = read_bytes(png_file(4, 1, {.color_type = 3, .bits = 2}, {0x1B}));
  EXPECT_THAT(picture.bytes, ElementsAre(0, 0, 0, 255, 0, 0, 0, 255, 0, 255, 255, 255));
}

TEST(PhotoPng, TransparencyBecomesWhite) {
  // 51 of 255 is a fifth: 100 * 0.2 + 255 * 0.8 = 224.
  const k905::Picture picture =
      read_bytes(png_file(3, 1, {.color_type = 4, .bits = 8}, {100, 255, 100, 51, 100, 0}));
  EXPECT_EQ(picture.channels, 1);
  EXPECT_THAT(picture.bytes, ElementsAre(100, 224, 255));
}

TEST(PhotoPng, SixteenBitTransparencyBecomesWhite) {
  const k905::Picture picture =
      read_bytes(png_file(2, 1, {.color_type = 6, .bits = 16},
                          {0x12, 0x34, 0, 0, 0, 0, 0xFF, 0xFF, 0x12, 0x34, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(picture.channels, 3);
  EXPECT_EQ(picture.sample(0, 0, 0), 0x1234);
  EXPECT_EQ(picture.sample(0, 0, 1), 0);
  EXPECT_EQ(picture.sample(1, 0, 0), 0xFFFF);
}

TEST(PhotoPng, InterlacedFileGivesTheSamePixels) {
  const std::vector<std::uint8_t> rows = numbered(243);
  EXPECT_EQ(read_bytes(png_file(9, 9, {.interlaced = true}, rows)).bytes, rows);
}

TEST(PhotoPng, EmbeddedProfileIsKept) {
  const auto profile = profile_for("RGB ");
  const k905::Picture picture = read_bytes(png_file(1, 1, {.profile = profile}, numbered(3)));
  EXPECT_EQ(picture.icc_profile, profile);
}

TEST(PhotoPng, TruncatedFileIsAnErrorAtAnyLength) {
  // The last 12 bytes are the chunk that ends the file; the pixels are complete without it.
  const std::string complete = png_file(40, 30, {}, numbered(3600));
  for (std::size_t size = 1; size + 16 < complete.size(); size += 7) {
    EXPECT_NE(error_of(complete.substr(0, size)), "no error") << size;
  }
  const std::string interlaced = png_file(40, 30, {.interlaced = true}, numbered(3600));
  EXPECT_NE(error_of(interlaced.substr(0, interlaced.size() / 2)), "no error");
}

TEST(PhotoPng, SizeAboveTheLimitIsNamed) {
  EXPECT_EQ(error_of(png_without_pixels(65536, 65536)), "the photo is too large (65536 x 65536)");
  EXPECT_EQ(error_of(png_without_pixels(1048577, 1)), "the photo is too large (1048577 x 1)");
}

TEST(PhotoPng, LargeHeaderWithoutPixelsIsAnError) {
  const std::string file = png_without_pixels(16384, 1);
  for (int i = 0; i < 100; ++i) {  // libvips alone sometimes reports no error
    ASSERT_NE(error_of(file), "no error") << i;
  }
}

TEST(PhotoPng, DamagedHeaderIsAnError) {
  std::string bytes = png_file(40, 30, {}, numbered(3600));
  bytes[20] = static_cast<char>(bytes[20] ^ 1);
  EXPECT_NE(error_of(bytes), "no error");
}

// --- JPEG

TEST(PhotoJpeg, PlainColorIsReadClosely) {
  const k905::Picture picture = read_bytes(jpeg_file(16, 8, {}, plain_rows(128, {200, 200, 200})));
  EXPECT_EQ(picture.width, 16U);
  EXPECT_EQ(picture.height, 8U);
  EXPECT_EQ(picture.channels, 3);
  EXPECT_THAT(picture.bytes, Each(AllOf(Ge(198), Le(202))));
}

TEST(PhotoJpeg, GrayFileHasOneChannel) {
  const k905::Picture picture = read_bytes(jpeg_file(8, 8, {.channels = 1}, plain_rows(64, {77})));
  EXPECT_EQ(picture.channels, 1);
  EXPECT_THAT(picture.bytes, Each(77));
}

TEST(PhotoJpeg, ProgressiveFileGivesTheSamePixels) {
  const auto rows = plain_rows(64, {50, 60, 70});
  EXPECT_EQ(read_bytes(jpeg_file(8, 8, {.progressive = true}, rows)).bytes,
            read_bytes(jpeg_file(8, 8, {}, rows)).bytes);
}

TEST(PhotoJpeg, InksWithoutAProfileBecomeRgb) {
  // libjpeg marks four inks as Adobe's, for which 255 is no ink: light 200 under black 128 of 255
  // leaves 200 * 128 / 255 = 100.
  const k905::Picture picture =
      read_bytes(jpeg_file(8, 8, {.channels = 4}, plain_rows(64, {200, 200, 200, 128})));
  EXPECT_EQ(picture.channels, 3);
  EXPECT_EQ(picture.bytes.size(), 64U * 3);
  EXPECT_THAT(picture.bytes, Each(AllOf(Ge(98), Le(102))));
}

TEST(PhotoJpeg, ProfileWithATruncatedHeaderIsIgnored) {
  auto profile = profile_for("RGB ");
  profile.resize(127);
  const k905::Picture picture =
      read_bytes(jpeg_file(8, 8, {.profile = profile}, plain_rows(64, {1, 2, 3})));
  EXPECT_TRUE(picture.icc_profile.empty());
}

TEST(PhotoJpeg, EmbeddedProfileIsKept) {
  const auto profile = profile_for("RGB ");
  EXPECT_EQ(
      read_bytes(jpeg_file(8, 8, {.profile = profile}, plain_rows(64, {1, 2, 3}))).icc_profile,
      profile);
}

TEST(PhotoJpeg, ProfileOfAnotherColorSpaceIsDropped) {
  EXPECT_TRUE(read_bytes(jpeg_file(8, 8, {.channels = 1, .profile = profile_for("RGB ")},
                                   plain_rows(64, {9})))
                  .icc_profile.empty());
}

// Upright image: 1 2 3 / 4 5 6. Each case is stored as a camera stores it, with first row and
// column according to the orientation. A gray PNG cannot have an orientation, so each pixel is a
// block of 8 x 8 in a JPEG file.
TEST(PhotoJpeg, EveryOrientationShowsTheSameImage) {
  const struct {
    int orientation;
    std::uint32_t width;
    std::vector<std::uint8_t> stored;
  } cases[] = {
      {1, 3, {1, 2, 3, 4, 5, 6}}, {2, 3, {3, 2, 1, 6, 5, 4}}, {3, 3, {6, 5, 4, 3, 2, 1}},
      {4, 3, {4, 5, 6, 1, 2, 3}}, {5, 2, {1, 4, 2, 5, 3, 6}}, {6, 2, {3, 6, 2, 5, 1, 4}},
      {7, 2, {6, 3, 5, 2, 4, 1}}, {8, 2, {4, 1, 5, 2, 6, 3}},
  };
  for (const auto& one : cases) {
    for (const bool little_endian : {true, false}) {
      const std::uint32_t width = 8 * one.width;
      const std::uint32_t height = 48 / one.width;
      std::vector<std::uint8_t> rows;
      for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
          rows.push_back(static_cast<std::uint8_t>(30 * one.stored[y / 8 * one.width + x / 8]));
        }
      }
      const k905::Picture seen = read_bytes(jpeg_file(
          width, height,
          {.channels = 1, .orientation = one.orientation, .little_endian = little_endian}, rows));
      ASSERT_EQ(seen.width, 24U) << one.orientation;
      ASSERT_EQ(seen.height, 16U) << one.orientation;
      for (std::uint32_t block = 0; block < 6; ++block) {
        const std::size_t at = std::size_t{block / 3 * 8 + 4} * 24 + block % 3 * 8 + 4;
        EXPECT_NEAR(seen.bytes[at], 30 * (block + 1), 2) << one.orientation;
      }
    }
  }
}

TEST(PhotoJpeg, UnknownOrientationIsUpright) {
  EXPECT_EQ(read_bytes(jpeg_file(16, 8, {.orientation = 9}, plain_rows(128, {1, 2, 3}))).width,
            16U);
}

TEST(PhotoJpeg, ExifThatPointsOutsideItselfIsUpright) {
  std::string bytes = jpeg_file(16, 8, {.orientation = 6}, plain_rows(128, {1, 2, 3}));
  const std::size_t tiff = bytes.find("II*");
  ASSERT_NE(tiff, std::string::npos);
  bytes.replace(tiff + 4, 4, "\xff\xff\xff\x7f");
  EXPECT_EQ(read_bytes(bytes).width, 16U);
}

TEST(PhotoJpeg, TruncatedFileIsAnErrorAtAnyLength) {
  const auto rows = numbered(12288);
  for (const bool progressive : {false, true}) {
    const std::string complete = jpeg_file(64, 64, {.progressive = progressive}, rows);
    for (std::size_t size = 1; size + 2 < complete.size(); size += 97) {
      EXPECT_NE(error_of(complete.substr(0, size)), "no error") << size;
    }
  }
}

// Whether the rotation itself fails depends on the timing of the threads of libvips.
TEST(PhotoJpeg, DamagedFileIsAnErrorEachTimeItIsRotated) {
  std::ifstream file(K905_SOURCE_DIR "/fuzz/corpus/photo_fuzz/jpeg_rotated_and_damaged",
                     std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  for (int i = 0; i < 300; ++i) {
    ASSERT_THAT(error_of(bytes), HasSubstr("Corrupt JPEG data")) << i;
  }
}

TEST(PhotoJpeg, SizeAboveTheLimitIsNamed) {
  std::string bytes = jpeg_file(8, 8, {}, plain_rows(64, {1, 2, 3}));
  // The frame header: marker, length 17, 8 bits, then height and width of 8.
  const std::size_t frame = bytes.find("\xff\xc0\x00\x11\x08\x00\x08\x00\x08"s);
  ASSERT_NE(frame, std::string::npos);
  bytes.replace(frame + 5, 4, "\xff\xdc\xff\xdc");
  EXPECT_EQ(error_of(bytes), "the photo is too large (65500 x 65500)");
}

// --- PPM and PGM

TEST(PhotoPpm, ColorAndGrayAreRead) {
  EXPECT_THAT(read_bytes("P6\n2 1\n255\nabcdef").bytes, ElementsAreArray("abcdef", 6));
  const k905::Picture gray = read_bytes("P5 3 1 255\nxyz");
  EXPECT_EQ(gray.channels, 1);
  EXPECT_THAT(gray.bytes, ElementsAreArray("xyz", 3));
}

TEST(PhotoPpm, CommentInTheHeaderIsSkipped) {
  EXPECT_THAT(read_bytes("P6\n# made by hand\n1 1\n255\nabc").bytes, ElementsAreArray("abc", 3));
}

TEST(PhotoPpm, SmallerMaximaAreWidened) {
  EXPECT_THAT(read_bytes("P5 3 1 15\n\x00\x05\x0f"s).bytes, ElementsAre(0, 85, 255));
  const k905::Picture wide = read_bytes("P5 # 10 bits\n2 1 1023\n\x03\xff\x00\x01"s);
  EXPECT_EQ(wide.sample(0, 0, 0), 65535);
  EXPECT_EQ(wide.sample(1, 0, 0), 64);  // 65535 / 1023 = 64.06
}

TEST(PhotoPpm, SixteenBitsAreHighByteFirst) {
  const k905::Picture picture = read_bytes("P5 1 1 65535\n\x12\x34"s);
  EXPECT_EQ(picture.bits, 16);
  EXPECT_EQ(picture.sample(0, 0, 0), 0x1234);
}

TEST(PhotoPpm, MalformedFilesAreErrors) {
  for (const std::string& bytes :
       {"P6\n2 2\n255\nabc"s, "P6\n2 2\n255\nabcdefgh"s, "P6\n"s, "P6\n-2 2\n255\n"s,
        "P6\n99999999999999999999 2\n255\n"s, "P6\n0 2\n255\n"s, "P6 199999999 1 255\n"s,
        "P5 2 1 256\nabc"s}) {
    EXPECT_NE(error_of(bytes), "no error") << bytes;
  }
  EXPECT_EQ(error_of("P5 1 1048577 255\n"), "the photo is too large (1 x 1048577)");
}

// --- files of other programs

// A red, a green and a blue stripe, a third of the width each, 48 x 32 pixels, as other programs
// write them (see tests/apps/photos/README.md).
class PhotoOfOtherPrograms : public testing::TestWithParam<const char*> {};

TEST_P(PhotoOfOtherPrograms, StripesHaveTheirColors) {
  std::string error;
  const auto picture = k905::read_photo(std::string(K905_PHOTOS) + "/" + GetParam(), error);
  ASSERT_TRUE(picture) << error;
  ASSERT_EQ(picture->width, 48U);
  ASSERT_EQ(picture->height, 32U);
  const k905::Picture colors = eight_bit_colors(*picture);
  for (std::uint32_t stripe = 0; stripe < 3; ++stripe) {
    for (std::size_t channel = 0; channel < 3; ++channel) {
      const std::size_t at = 3 * (std::size_t{16} * 48 + 16 * stripe + 8) + channel;
      EXPECT_NEAR(colors.bytes[at], channel == stripe ? 200 : 40, 8) << stripe << " " << channel;
    }
  }
}

TEST_P(PhotoOfOtherPrograms, TruncatedFileIsAnError) {
  std::ifstream file(std::string(K905_PHOTOS) + "/" + GetParam(), std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  ASSERT_FALSE(bytes.empty());
  EXPECT_NE(error_of(bytes.substr(0, bytes.size() / 2)), "no error");
}

INSTANTIATE_TEST_SUITE_P(Formats, PhotoOfOtherPrograms,
                         testing::Values("stripes.heic", "stripes.avif", "stripes.webp",
                                         "stripes-lossless.webp", "stripes.tif", "stripes-lzw.tif",
                                         "stripes-16.tif", "stripes.gif", "stripes-rotated.jpg",
                                         "stripes-rotated.png"),
                         [](const auto& file) {
                           std::string name = file.param;
                           for (char& letter : name) {
                             letter = std::isalnum(letter) != 0 ? letter : '_';
                           }
                           return name;
                         });

// --- unsupported files

TEST(PhotoOpen, OtherFormatsAreRefused) {
  const std::string formats = "not a photo in JPEG, PNG, TIFF, WebP, HEIC, AVIF, GIF or PPM";
  EXPECT_EQ(error_of("plain text, no photo at all"), formats);
  EXPECT_EQ(error_of("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"9\" height=\"9\"/>"),
            formats);
  EXPECT_EQ(error_of("%PDF-1.4\n"), formats);
  EXPECT_EQ(error_of(""), "the file is empty");
}

TEST(PhotoOpen, UnreadableFilesAreNamed) {
  const ScratchFolder folder;
  std::string error;
  EXPECT_FALSE(k905::read_photo(folder.path() + "/missing.png", error));
  EXPECT_EQ(error, "No such file or directory");
  EXPECT_FALSE(k905::read_photo(folder.path(), error));
  EXPECT_EQ(error, "Is a directory");
}

TEST(PhotoOpen, FifoIsRefusedWithoutWaiting) {
  const ScratchFolder folder;
  const std::string fifo = folder.path() + "/photo.jpg";
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  std::string error;
  EXPECT_FALSE(k905::read_photo(fifo, error));
  EXPECT_EQ(error, "not a regular file");
}

// Files that were valid until some of their bytes were changed: the result is an image of a
// consistent size or an error with a text.
TEST(PhotoOpen, DamagedFilesGiveAnImageOrAnError) {
  const std::vector<std::string> valid_files = {
      png_file(20, 15, {}, numbered(900)),
      png_file(20, 15, {.color_type = 6, .bits = 16, .interlaced = true}, numbered(2400)),
      png_file(16, 15, {.color_type = 3, .bits = 2}, numbered(60)),
      jpeg_file(20, 15, {.orientation = 6, .profile = profile_for("RGB ")}, numbered(900)),
      jpeg_file(20, 15, {.channels = 4, .progressive = true}, numbered(1200)),
      "P6\n# comment\n20 15\n255\n" + std::string(900, 'x'),
      "P5 20 15 65535\n" + std::string(600, 'x'),
  };
  std::mt19937 random(20261121);
  const ScratchFolder folder;
  for (const std::string& valid : valid_files) {
    for (int round = 0; round < 150; ++round) {
      std::string damaged = valid;
      for (unsigned change = 0; change <= random() % 4; ++change) {
        // Every second change is in the headers, which contain the sizes.
        const std::size_t range =
            random() % 2 == 0 ? damaged.size() : std::min<std::size_t>(64, damaged.size());
        damaged[random() % range] = static_cast<char>(random());
      }
      std::string error;
      const auto picture = k905::read_photo(folder.write("x", damaged), error);
      if (picture) {
        EXPECT_EQ(picture->bytes.size(), picture->row_bytes() * picture->height);
      } else {
        EXPECT_FALSE(error.empty());
      }
    }
  }
}

}  // namespace
