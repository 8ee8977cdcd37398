// Sends raster pages through the adapter and the filter, and converts the sheets to the visible
// image.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/raster_builder.h"

using Color = std::array<std::uint8_t, 3>;
inline constexpr Color kWhite{255, 255, 255};
inline constexpr Color kBlack{0, 0, 0};

// The visible image, from the front.
class VisibleSheet {
 public:
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t cutter = 0;

  [[nodiscard]] Color at(std::uint32_t x, std::uint32_t y) const {
    const std::size_t i = 3 * (std::size_t{y} * width + x);
    return {pixels[i], pixels[i + 1], pixels[i + 2]};
  }
  std::vector<std::uint8_t> pixels = {};  // red, green, blue
};

struct AdaptedJob {
  std::string input;         // the raster stream
  std::string options = "";  // as CUPS passes them
  std::string title = "title";
  std::string copies = "1";
};

struct AdapterResult {
  int status = -1;
  std::vector<std::string> log;
  std::vector<VisibleSheet> sheets = {};
};

// Runs the job on a K905 queue with its usual defaults. A malformed printer stream fails the test.
[[nodiscard]] AdapterResult run_adapted(const AdaptedJob& job);

// A white page of this size in points and pixels, RGB with 8 bits per color.
[[nodiscard]] RasterPage white_page(float width_pt, float height_pt, unsigned width,
                                    unsigned height, unsigned dpi = 300, unsigned dpi_down = 300);

void set_pixel(RasterPage& page, unsigned x, unsigned y, const Color& color);
[[nodiscard]] Color pixel_of(const RasterPage& page, unsigned x, unsigned y);
// Makes every pixel different, up to 4096 x 4096.
void number_pixels(RasterPage& page);

// The bounding box of all pixels that are darker than half; right and bottom are exclusive.
struct Box {
  std::uint32_t left = 0;
  std::uint32_t top = 0;
  std::uint32_t right = 0;
  std::uint32_t bottom = 0;

  [[nodiscard]] double width() const { return double{1.0} * right - left; }
  [[nodiscard]] double height() const { return double{1.0} * bottom - top; }
};
[[nodiscard]] Box dark_box(const VisibleSheet& sheet);
