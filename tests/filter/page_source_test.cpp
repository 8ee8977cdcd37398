#include "filter/page_source.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/support/raster_builder.h"

namespace {

// Redirects descriptor 0 to a scratch file with `bytes`, during its lifetime.
class StandardInput {
 public:
  explicit StandardInput(const std::string& bytes) : saved_(dup(STDIN_FILENO)) {
    const int file = memfd_create("input", 0);
    EXPECT_EQ(write(file, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    lseek(file, 0, SEEK_SET);
    dup2(file, STDIN_FILENO);
    close(file);
  }
  ~StandardInput() {
    dup2(saved_, STDIN_FILENO);
    close(saved_);
  }
  StandardInput(const StandardInput&) = delete;
  StandardInput& operator=(const StandardInput&) = delete;

 private:
  int saved_;
};

// A page of four gray pixels per line, or of three colors, each in its own lines.
RasterPage page_of(unsigned height, bool planar = false) {
  cups_page_header2_t header = page_header(4, height, planar ? 3 : 1);
  header.cupsBytesPerLine = 4;
  header.cupsColorOrder = planar ? CUPS_ORDER_PLANAR : CUPS_ORDER_CHUNKED;
  return blank_page(header);
}

TEST(RasterInput, EmptyInputCannotBeOpened) {
  const StandardInput standard_input("");
  RasterInput input;
  EXPECT_EQ(input.open(), nullptr);
}

TEST(RasterInput, EndsAfterTheSyncBytesButNotAtARefusedHeader) {
  for (const bool refused : {false, true}) {
    // libcups refuses a header of zeros.
    const std::string stream =
        raw_raster_stream(refused ? std::vector{RasterPage{}} : std::vector<RasterPage>{});
    const StandardInput standard_input(stream);
    RasterInput input;
    const Raster raster = input.open();
    ASSERT_NE(raster, nullptr);
    cups_page_header2_t header;
    EXPECT_EQ(cupsRasterReadHeader2(raster.get(), &header), 0U);
    EXPECT_EQ(input.ended(), !refused);
  }
}

TEST(SkipRestOfPage, LeavesTheStreamAtTheNextHeader) {
  for (const unsigned lines_taken : {0U, 1U, 3U}) {
    for (const bool planar : {false, true}) {
      const std::string stream = raw_raster_stream({page_of(3, planar), page_of(7)});
      const StandardInput standard_input(stream);
      RasterInput input;
      const Raster raster = input.open();
      cups_page_header2_t header;
      ASSERT_EQ(cupsRasterReadHeader2(raster.get(), &header), 1U);
      std::uint8_t line[4];
      for (unsigned y = 0; y < lines_taken; ++y) {
        ASSERT_EQ(cupsRasterReadPixels(raster.get(), line, 4), 4U);
      }
      EXPECT_TRUE(skip_rest_of_page(header, raster.get()));
      ASSERT_EQ(cupsRasterReadHeader2(raster.get(), &header), 1U);
      EXPECT_EQ(header.cupsHeight, 7U);
    }
  }
}

}  // namespace
