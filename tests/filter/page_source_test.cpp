#include "filter/page_source.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

// Redirects descriptor 0 to a scratch file with `bytes`, during its lifetime.
class StandardInput {
 public:
  explicit StandardInput(const Bytes& bytes) : saved_(dup(STDIN_FILENO)) {
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

// One gray page of `lines` lines of four bytes; line y contains y, y, y, y. `planar` gives three
// colors per line, one after another.
cups_page_header2_t header_of(unsigned height, bool planar = false) {
  cups_page_header2_t header = {};
  header.cupsWidth = 4;
  header.cupsHeight = height;
  header.cupsBitsPerColor = 8;
  header.cupsBitsPerPixel = planar ? 24 : 8;
  header.cupsNumColors = planar ? 3 : 1;
  header.cupsBytesPerLine = 4;
  header.cupsColorOrder = planar ? CUPS_ORDER_PLANAR : CUPS_ORDER_CHUNKED;
  header.cupsColorSpace = planar ? CUPS_CSPACE_RGB : CUPS_CSPACE_W;
  return header;
}

void append(Bytes& stream, const void* bytes, std::size_t count) {
  const std::size_t end = stream.size();
  stream.resize(end + count);
  std::memcpy(stream.data() + end, bytes, count);
}

void append_page(Bytes& stream, const cups_page_header2_t& header, unsigned lines) {
  append(stream, &header, sizeof header);
  for (unsigned y = 0; y < lines; ++y) {
    stream.insert(stream.end(), 4, static_cast<std::uint8_t>(y));
  }
}

Bytes stream_start() {
  const std::uint32_t sync = CUPS_RASTER_SYNC;
  Bytes stream;
  append(stream, &sync, sizeof sync);
  return stream;
}

TEST(RasterInput, EmptyInputCannotBeOpened) {
  const StandardInput standard_input({});
  RasterInput input;
  EXPECT_EQ(input.open(), nullptr);
}

TEST(RasterInput, EndsAfterTheSyncBytesButNotAtARefusedHeader) {
  for (const bool refused : {false, true}) {
    Bytes stream = stream_start();
    if (refused) {
      append_page(stream, cups_page_header2_t{}, 0);  // libcups refuses a header of zeros
    }
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
      Bytes stream = stream_start();
      append_page(stream, header_of(3, planar), planar ? 9 : 3);
      append_page(stream, header_of(7), 7);
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
