#include "tests/adapter/adapted_job.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "apps/wire/printer_stream.h"
#include "tests/support/build_paths.h"
#include "tests/support/captured_log.h"
#include "tests/support/child_process.h"

namespace {

VisibleSheet visible_image(const k905::Sheet& sheet) {
  VisibleSheet image{.width = sheet.width, .height = sheet.height, .cutter = sheet.cutter};
  image.pixels.resize(std::size_t{3} * sheet.width * sheet.height);
  for (std::size_t y = 0; y < sheet.height; ++y) {
    for (std::size_t x = 0; x < sheet.width; ++x) {
      // The printer prints the back of the image.
      const std::size_t from = y * sheet.width + sheet.width - 1 - x;
      for (std::size_t channel = 0; channel < 3; ++channel) {
        image.pixels[3 * (y * sheet.width + x) + channel] = sheet.plane[channel][from];
      }
    }
  }
  return image;
}

}  // namespace

AdapterResult run_adapted(const AdaptedJob& job) {
  ChildSetup setup;
  setup.program = std::string(K905_BINARY_DIR) + "/rastertok905job";
  setup.arguments = {"queue", "1", "me", job.title, job.copies, job.options};
  setup.environment = {{"PPD", std::string(K905_BINARY_DIR) + "/ppd/K905.ppd"},
                       {"K905_FILTER", filter_program()},
                       {"PATH", "/usr/bin:/bin"},
                       {"LSAN_OPTIONS", std::string("suppressions=") + K905_SOURCE_DIR +
                                            "/tests/cups/known_leaks.supp:print_suppressions=0"}};
  setup.input = job.input;
  const ChildResult child = run_child(setup);
  EXPECT_EQ(child.signal, 0) << child.log;
  const k905::ParsedStream stream = k905::parse_printer_stream(
      reinterpret_cast<const std::uint8_t*>(child.output.data()), child.output.size());
  EXPECT_FALSE(stream.error.has_value());
  AdapterResult result{.status = child.status, .log = lines_of(child.log)};
  std::transform(stream.sheets.begin(), stream.sheets.end(), std::back_inserter(result.sheets),
                 visible_image);
  return result;
}

RasterPage white_page(float width_pt, float height_pt, unsigned width, unsigned height,
                      unsigned dpi, unsigned dpi_down) {
  RasterPage page = blank_page(page_header(width, height));
  page.header.HWResolution[0] = dpi;
  page.header.HWResolution[1] = dpi_down;
  page.header.PageSize[0] = static_cast<unsigned>(std::lround(width_pt));
  page.header.PageSize[1] = static_cast<unsigned>(std::lround(height_pt));
  page.header.cupsPageSize[0] = width_pt;
  page.header.cupsPageSize[1] = height_pt;
  page.header.cupsImagingBBox[2] = width_pt;
  page.header.cupsImagingBBox[3] = height_pt;
  std::fill(page.pixels.begin(), page.pixels.end(), 0xFF);
  return page;
}

void set_pixel(RasterPage& page, unsigned x, unsigned y, const Color& color) {
  std::copy(
      color.begin(), color.end(),
      page.pixels.begin() + std::size_t{y} * page.header.cupsBytesPerLine + std::size_t{3} * x);
}

Color pixel_of(const RasterPage& page, unsigned x, unsigned y) {
  const std::size_t i = std::size_t{y} * page.header.cupsBytesPerLine + std::size_t{3} * x;
  return {page.pixels[i], page.pixels[i + 1], page.pixels[i + 2]};
}

void number_pixels(RasterPage& page) {
  for (unsigned y = 0; y < page.header.cupsHeight; ++y) {
    for (unsigned x = 0; x < page.header.cupsWidth; ++x) {
      set_pixel(page, x, y,
                {static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y),
                 static_cast<std::uint8_t>((x >> 8) << 4 | y >> 8)});
    }
  }
}

Box dark_box(const VisibleSheet& sheet) {
  Box box{.left = sheet.width, .top = sheet.height, .right = 0, .bottom = 0};
  for (std::uint32_t y = 0; y < sheet.height; ++y) {
    for (std::uint32_t x = 0; x < sheet.width; ++x) {
      if (sheet.at(x, y)[1] >= 128) continue;
      box = {.left = std::min(box.left, x),
             .top = std::min(box.top, y),
             .right = std::max(box.right, x + 1),
             .bottom = std::max(box.bottom, y + 1)};
    }
  }
  return box;
}
