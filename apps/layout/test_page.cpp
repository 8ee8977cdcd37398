#include "apps/layout/test_page.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "apps/image/draw.h"
#include "paper/physical_size.h"

namespace k905 {

namespace {

constexpr double kMillimetersPerInch = 25.4;
constexpr double kBoxMm = 50;
constexpr double kFontHeightMm = 2.4;
constexpr double kLineWidthMm = 0.2;

// Draws in millimeters from the top left of the paper; the pixels need not be square.
class RulerPage {
 public:
  RulerPage(const SheetPlace& place, const SheetFrame& frame)
      : across_(pixels_per_millimeter(dots_per_inch_across(*place.paper), picture_size(place).width,
                                      place.visible_width)),
        down_(pixels_per_millimeter(place.fine ? kDotsPerInchDownFine : kDotsPerInchDown,
                                    picture_size(place).height, place.visible_height)),
        left_(frame.left * picture_size(place).width / place.visible_width),
        top_(frame.top * picture_size(place).height / place.visible_height),
        width_(frame.width * picture_size(place).width / place.visible_width / across_),
        height_(frame.height * picture_size(place).height / place.visible_height / down_) {}

  void draw(Picture& picture, const std::string& paper) {
    picture_ = &picture;
    for (int mm = 0; mm <= width_; ++mm) {
      const double length = tick(mm);
      fill(mm, 0, line(), length);
      fill(width_ - mm - line(), height_ - length, line(), length);
    }
    for (int mm = 0; mm <= height_; ++mm) {
      const double length = tick(mm);
      fill(0, mm, length, line());
      fill(width_ - length, height_ - mm - line(), length, line());
    }
    for (int mm = 10; mm < width_ - 10; mm += 10) {
      text(mm - 1.5, 5.5, std::to_string(mm));
    }
    for (int mm = 10; mm < height_ - 10; mm += 10) {
      text(5.5, mm - 1, std::to_string(mm));
    }
    draw_box();
    const double x = width_ / 2 - 22;
    text(x, 9.5, "top edge: BleedTop");
    text(x, height_ - 9, "bottom edge: BleedBottom");
    // The filter mirrors the page, so BleedLeft changes the right edge of the print.
    text(12, height_ / 2 - 4, "left edge:");
    text(12, height_ / 2, "BleedRight");
    text(width_ - 31, height_ / 2 - 4, "right edge:");
    text(width_ - 31, height_ / 2, "BleedLeft");
    text(x, height_ / 2 - 2, "K905 paper " + paper);
    text(x, height_ / 2 + 2, "box: 50 x 50 mm");
  }

 private:
  static double pixels_per_millimeter(int dpi, std::uint32_t pixels, std::uint32_t visible) {
    return dpi / kMillimetersPerInch * pixels / visible;
  }
  static double tick(int mm) { return mm % 10 == 0 ? 5 : mm % 5 == 0 ? 3.5 : 2; }
  static double line() { return kLineWidthMm; }

  // The outer edges are 50 mm apart; less if the paper is smaller.
  void draw_box() {
    const double size = std::min(kBoxMm, height_ - 24);
    const double x = (width_ - size) / 2;
    const double y = (height_ - size) / 2;
    fill(x, y, size, line());
    fill(x, y + size - line(), size, line());
    fill(x, y, line(), size);
    fill(x + size - line(), y, line(), size);
  }

  void fill(double x, double y, double width, double height) {
    const auto pixels = [](double from, double length, double scale, double offset,
                           std::uint32_t limit) {
      const double first =
          std::clamp(std::round(offset + from * scale), 0.0, static_cast<double>(limit));
      const double end = std::round(offset + (from + length) * scale);
      const double last = std::clamp(std::max(end, first + 1), 0.0, static_cast<double>(limit));
      return std::pair(static_cast<std::size_t>(first), static_cast<std::size_t>(last));
    };
    const auto [x0, x1] = pixels(x, width, across_, left_, picture_->width);
    const auto [y0, y1] = pixels(y, height, down_, top_, picture_->height);
    for (std::size_t row = y0; row < y1; ++row) {
      std::uint8_t* pixel = picture_->bytes.data() + row * picture_->row_bytes();
      std::fill(pixel + 3 * x0, pixel + 3 * x1, std::uint8_t{0});
    }
  }

  void text(double x, double y, const std::string& words) {
    // Capital letters are about 1 / 1.4 of the font size high.
    const auto font = static_cast<std::uint32_t>(std::lround(kFontHeightMm * across_ * 1.4));
    // Without a font the rulers are still useful.
    draw_text(*picture_, words,
              {.x = static_cast<std::uint32_t>(std::max(0.0, left_ + x * across_)),
               .y = static_cast<std::uint32_t>(std::max(0.0, top_ + y * down_)),
               .max_width = picture_->width,
               .font_size = font,
               .dpi_ratio = down_ / across_});
  }

  double across_;  // pixels of the image per millimeter
  double down_;
  double left_;  // of the paper, in pixels of the image
  double top_;
  double width_;  // of the paper, in millimeters
  double height_;
  Picture* picture_ = nullptr;
};

}  // namespace

Picture test_page(const SheetPlace& place) {
  Picture picture = black_picture(picture_size(place).width, picture_size(place).height);
  std::fill(picture.bytes.begin(), picture.bytes.end(), std::uint8_t{0xFF});
  for (const SheetFrame& frame : place.frames) {
    RulerPage(place, frame).draw(picture, place.paper->label);
  }
  return picture;
}

}  // namespace k905
