// From raster lines to the canvas, with complete planes for each step.
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "tests/support/plain_formulas.h"
#include "tests/support/reference_state.h"

namespace reference {
namespace {

// A paper's margin and the user's addition to it; a margin is never negative.
int bleed(int of_paper, int of_user) {
  const std::int64_t sum = std::int64_t{of_paper} + of_user;
  return static_cast<int>(std::clamp<std::int64_t>(sum, 0, std::numeric_limits<int>::max()));
}

int side_without_bleeds(int side, int one, int other) {
  const std::int64_t left = std::int64_t{side} - one - other;
  return left < 2 ? 1 : static_cast<int>(left);
}

double millimeters(int pixels) { return pixels * 25.4 / 300.0; }

template <typename Formula>
void for_each_pixel(Image& image, const Formula& formula) {
  auto& [a, b, c] = image.plane;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const plain::Pixel pixel = formula(plain::Pixel{a[i], b[i], c[i]});
    a[i] = pixel[0];
    b[i] = pixel[1];
    c[i] = pixel[2];
  }
}

}  // namespace

std::size_t index_of(const Image& image, int x, int y) {
  return std::size_t(y) * std::size_t(image.width) + std::size_t(x);
}

std::uint8_t pixel(const Image& image, int channel, std::size_t index) {
  const std::vector<std::uint8_t>& plane = image.plane[channel];
  return index < plane.size() ? plane[index] : 0;
}

Image make_image(int width, int height, std::uint8_t value) {
  Image image;
  image.width = width;
  image.height = height;
  for (auto& plane : image.plane) {
    plane.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), value);
  }
  return image;
}

PlainFilter::Layout PlainFilter::layout() const {
  const Settings& s = settings;
  Layout l{};
  l.target_width = s.paper.target_width;
  l.target_height = s.interlace ? s.paper.target_height * 2 : s.paper.target_height;
  if (s.rotate) {
    std::swap(l.target_width, l.target_height);
  }
  l.canvas_width = s.paper.canvas_width;
  l.canvas_height = s.interlace ? s.paper.canvas_height * 2 : s.paper.canvas_height;
  l.top = bleed(s.paper.top, s.bleed_top);
  l.bottom = bleed(s.paper.bottom, s.bleed_bottom);
  l.left = bleed(s.paper.left, s.bleed_left);
  l.right = bleed(s.paper.right, s.bleed_right);
  l.effective_width = side_without_bleeds(l.canvas_width, l.left, l.right);
  l.effective_height = side_without_bleeds(l.canvas_height, l.top, l.bottom);
  return l;
}

bool PlainFilter::build(const Page& page, Image& canvas) {
  const cups_page_header2_t& h = page.header;
  const Settings& s = settings;

  log_message("K905-1: Original CUPS image: %dx%d pixels", static_cast<int>(h.cupsWidth),
              static_cast<int>(h.cupsHeight));
  log_message("K905-1: Original DPI: %dx%d", static_cast<int>(h.HWResolution[0]),
              static_cast<int>(h.HWResolution[1]));
  log_message("K905-1: Original physical size: %.2f x %.2f mm (at %d DPI)",
              h.cupsWidth * 25.4 / h.HWResolution[0], h.cupsHeight * 25.4 / h.HWResolution[1],
              static_cast<int>(h.HWResolution[1]));
  interpret_header(h);

  log_message("K905-1: Using paper configuration: %s (%s)", s.paper.name.c_str(),
              s.paper.label.c_str());
  log_message("  Target Size: %dx%d pixels", s.paper.target_width, s.paper.target_height);
  log_message("  Canvas Size: %dx%d pixels", s.paper.canvas_width, s.paper.canvas_height);
  log_message("  Image Rotation: %s", s.rotate ? "90° within canvas" : "none");
  log_message("  Mode: %s", s.interlace ? "Interlaced (300x600 DPI)" : "Normal (300 DPI)");
  log_message("  Mirror Flip: %s", s.mirror ? "ENABLED" : "DISABLED");
  log_message("  Color Model: %s", s.color_model.c_str());
  log_message("  Color Correction: %s", s.color_correction.c_str());
  log_message("  ICC Enabled: %s", s.icc_enabled ? "Yes" : "No");
  if (s.icc_enabled) {
    log_message("  ICC Profile: %s", s.icc_path.c_str());
  }
  if (s.interlace) {
    log_message("K905-1: Interlaced mode: target height doubled from %d to %d",
                s.paper.target_height, s.paper.target_height * 2);
  }
  const Layout l = layout();
  log_message("K905-1: Effective image area (canvas - bleed): %dx%d pixels", l.effective_width,
              l.effective_height);
  log_message("K905-1:   Canvas: %dx%d, Bleed: L=%d, R=%d, T=%d, B=%d", l.canvas_width,
              l.canvas_height, l.left, l.right, l.top, l.bottom);

  if (h.cupsWidth == 0 || h.cupsHeight == 0) {
    log_message("K905-1: Empty page image: %ux%u", h.cupsWidth, h.cupsHeight);
    return false;
  }
  if (std::uint64_t{h.cupsWidth} * h.cupsHeight > (std::uint64_t{1} << 29)) {
    log_message("K905-1: malloc src planes failed");
    return false;
  }
  if (!allocate_everything(h, l)) {
    return false;
  }

  log_message("K905-1: === STAGE 1: Reading CUPS raster data ===");
  bool complete = false;
  Image image = read_lines(page, complete);
  if (!complete) {
    return false;
  }
  save_image("01_original", image);

  log_message("K905-1: === STAGE 1.5: Resize to standard size (non-proportional scaling) ===");
  resize(image, l.target_width, l.target_height);
  convert_colors(image);
  if (s.interlace) {
    deinterlace(image);
  }
  if (s.mirror) {
    mirror(image);
  }
  adjust(image);
  log_message("K905-1: === STAGE 6: Skipped (scaling already done in stage 1.5) ===");
  log_message("K905-1: Using image from stage 5: %dx%d (no scaling)", image.width, image.height);
  log_message("K905-1: === STAGE 7: Rotation (if needed) ===");
  if (s.rotate) {
    rotate(image);
    save_image("07_rotated", image);
  }
  place(image, canvas);
  log_message("K905-1: === STAGE 9: Final result ===");
  save_image("09_final_canvas", canvas);
  return true;
}

// All memory of a page is allocated before its first line is read; the first failed allocation is
// the only message of the page. (Stages that continue without their memory say so.)
bool PlainFilter::allocate_everything(const cups_page_header2_t& h, const Layout& l) {
  const Settings& s = settings;
  const int width = l.target_width;
  int height = l.target_height;
  const bool resized =
      static_cast<int>(h.cupsWidth) != width || static_cast<int>(h.cupsHeight) != height;
  if (s.interlace && height != 2 * s.paper.target_height) {
    height /= 2;
  }
  const bool stretched = s.rotate ? height != l.effective_width || width != l.effective_height
                                  : width != l.effective_width || height != l.effective_height;
  const std::pair<bool, const char*> needs[] = {
      {true, "K905-1: malloc src planes failed"},
      {true, "K905-1: malloc line buffer failed"},
      {resized, "K905-1: malloc resized planes failed"},
      {s.rotate, "K905-1: malloc rotated planes failed"},
      {true, "K905-1: malloc canvas planes failed"},
      {stretched, "K905-1: malloc scaled planes failed"},
  };
  for (const auto& [needed, message] : needs) {
    if (needed && short_of_memory(message)) {
      log_message("%s", message);
      return false;
    }
  }
  return true;
}

Image PlainFilter::read_lines(const Page& page, bool& complete) {
  const cups_page_header2_t& h = page.header;
  const unsigned colors = h.cupsNumColors;
  const unsigned bits = h.cupsBitsPerColor;
  const std::string& model = settings.color_model;
  const bool inverted = model == "CMY" || model == "CMYK" || model == "KCMY";
  const int width = static_cast<int>(h.cupsWidth);
  const int height = static_cast<int>(h.cupsHeight);
  Image image = make_image(width, height);

  for (int y = 0; y < height; ++y) {
    if (static_cast<std::size_t>(y) >= page.lines.size()) {
      log_message("K905-1: cupsRasterReadPixels failed at line %d", y);
      complete = false;
      return image;
    }
    const std::vector<std::uint8_t>& line = page.lines[static_cast<std::size_t>(y)];
    // A line that is too short for its pixels counts as ending in zeros.
    const auto p = [&line](std::size_t i) -> std::uint8_t {
      return i < line.size() ? line[i] : std::uint8_t{0};
    };
    if (!((colors == 3 && (bits == 8 || bits == 16)) || (colors == 1 && (bits == 8 || bits == 1)) ||
          (colors == 4 && bits == 8))) {
      log_message("K905-1: Unsupported color format: colors=%d, bits=%d", static_cast<int>(colors),
                  static_cast<int>(bits));
      continue;  // The row stays black.
    }
    for (int column = 0; column < width; ++column) {
      const auto x = static_cast<std::size_t>(column);
      plain::Pixel out{};
      if (colors == 3) {
        const std::size_t bytes = bits / 8;  // of 16 bits the second byte counts
        for (std::size_t i = 0; i < 3; ++i) {
          out[i] = p(3 * bytes * x + bytes * i + bytes - 1);
        }
      } else if (colors == 1 && bits == 8) {
        out.fill(p(x));
      } else if (colors == 1) {
        out.fill(((p(x / 8) >> (7 - x % 8)) & 1) != 0 ? 0 : 255);
      } else {
        const std::uint8_t inks[4] = {p(4 * x), p(4 * x + 1), p(4 * x + 2), p(4 * x + 3)};
        out = inverted ? plain::four_inverted(inks) : plain::four_with_black(inks);
      }
      for (std::size_t i = 0; i < 3; ++i) {
        image.plane[i][index_of(image, column, y)] = out[i];
      }
    }
  }
  complete = true;
  return image;
}

void PlainFilter::resize(Image& image, int width, int height) {
  const int src_w = image.width;
  const int src_h = image.height;
  log_message("K905-1: Source image: %dx%d pixels", src_w, src_h);
  log_message("K905-1: Target size from paper_sizes: %dx%d pixels", width, height);
  log_message("K905-1: Source physical size (assuming 300DPI): %.2f x %.2f mm", millimeters(src_w),
              millimeters(src_h));
  log_message("K905-1: Target physical size (300DPI): %.2f x %.2f mm", millimeters(width),
              millimeters(height));
  if (src_w == width && src_h == height) {
    log_message("K905-1: Image size already matches target size, skipping resize");
    return;
  }
  const double scale_w = static_cast<double>(width) / src_w;
  const double scale_h = static_cast<double>(height) / src_h;
  log_message("K905-1: Non-proportional scaling: scale_w=%.4f, scale_h=%.4f", scale_w, scale_h);
  Image out = make_image(width, height);
  for (int y = 0; y < height; ++y) {
    const double sy = y * (1 / scale_h);
    const int ty = static_cast<int>(sy);
    const double fy = sy - ty;
    const int y0 = std::clamp(ty, 0, src_h - 1);
    const int y1 = ty >= src_h - 1 ? src_h - 1 : ty + 1;
    for (int x = 0; x < width; ++x) {
      const double sx = x * (1 / scale_w);
      const int tx = static_cast<int>(sx);
      const double fx = sx - tx;
      const int x0 = std::clamp(tx, 0, src_w - 1);
      const int x1 = tx >= src_w - 1 ? src_w - 1 : tx + 1;
      for (int i = 0; i < 3; ++i) {
        const std::vector<std::uint8_t>& s = image.plane[i];
        out.plane[i][index_of(out, x, y)] =
            plain::resized(s[index_of(image, x0, y0)], s[index_of(image, x1, y0)],
                           s[index_of(image, x0, y1)], s[index_of(image, x1, y1)], fy, fx);
      }
    }
  }
  image = std::move(out);
  log_message("K905-1: Resized %dx%d -> %dx%d (non-proportional)", src_w, src_h, width, height);
  log_message("K905-1: Physical size change (assuming 300DPI):");
  log_message("K905-1:   Width:  %.2f mm -> %.2f mm (change: %+.2f mm)", millimeters(src_w),
              millimeters(width), millimeters(width) - millimeters(src_w));
  log_message("K905-1:   Height: %.2f mm -> %.2f mm (change: %+.2f mm)", millimeters(src_h),
              millimeters(height), millimeters(height) - millimeters(src_h));
  log_message("K905-1: NOTE: If original image has different DPI, physical size may differ!");
  log_message("K905-1:   Original DPI might be: %.0f (if height should stay same)",
              (src_h * 25.4) / (height * 25.4 / 300.0));
  save_image("01b_resized", image);
}

void PlainFilter::convert_colors(Image& image) {
  const std::string& model = settings.color_model;
  log_message("K905-1: === STAGE 2: Color model conversion (%s) ===", model.c_str());
  plain::Pixel (*convert)(plain::Pixel) = nullptr;
  if (model == "Gray") {
    convert = plain::gray;
  } else if (model == "Black") {
    convert = plain::black;
  } else if (model == "CMY" || model == "CMYK") {
    convert = plain::inverted;
  } else if (model == "KCMY") {
    convert = plain::kcmy;
  }
  if (convert != nullptr) {
    for_each_pixel(image, convert);
  }
  save_image("02_color_converted", image);
  log_message("K905-1: Color conversion completed");
}

void PlainFilter::deinterlace(Image& image) {
  const int expected = 2 * settings.paper.target_height;
  log_message("K905-1: === STAGE 3: Deinterlace processing ===");
  log_message("K905-1: Source image height: %d pixels", image.height);
  log_message("K905-1: Expected 600DPI height: %d pixels", expected);
  if (image.height == expected) {
    log_message("K905-1: Image is already full 600DPI resolution, skipping deinterlace");
    log_message("K905-1: Keeping original image size: %dx%d", image.width, image.height);
    return;
  }
  log_message("K905-1: Image is interlaced format, performing deinterlace");
  Image out = make_image(image.width, image.height / 2);
  log_message("K905-1: Processing interlaced image: %dx%d -> %dx%d", image.width, image.height,
              out.width, out.height);
  if (short_of_memory("K905-1: ERROR: Failed to allocate memory for deinterlace")) {
    log_message("K905-1: ERROR: Failed to allocate memory for deinterlace");
    save_image("03_deinterlaced", image);
    return;
  }
  for (int i = 0; i < 3; ++i) {
    for (int y = 0; y < out.height; ++y) {
      for (int x = 0; x < out.width; ++x) {
        out.plane[i][index_of(out, x, y)] =
            plain::deinterlaced(image.plane[i][index_of(image, x, 2 * y)],
                                image.plane[i][index_of(image, x, 2 * y + 1)]);
      }
    }
  }
  image = std::move(out);
  log_message("K905-1: Deinterlace completed successfully");
  save_image("03_deinterlaced", image);
}

void PlainFilter::mirror(Image& image) {
  log_message("K905-1: === STAGE 4: Mirror flip ===");
  save_image("04a_before_mirror", image);
  for (auto& plane : image.plane) {
    log_message("K905-1: Applying horizontal mirror flip: %dx%d", image.width, image.height);
    for (int y = 0; y < image.height; ++y) {
      const auto row = plane.begin() + static_cast<std::ptrdiff_t>(index_of(image, 0, y));
      std::reverse(row, row + image.width);
    }
  }
  save_image("04b_after_mirror", image);
}

void PlainFilter::adjust(Image& image) {
  const Settings& s = settings;
  log_message("K905-1: === STAGE 5: Image adjustments ===");
  log_message("K905-1: Before adjustments - Pixel[0]: R=%d, G=%d, B=%d", pixel(image, 0, 0),
              pixel(image, 1, 0), pixel(image, 2, 0));
  save_image("05a_before_adjustments", image);
  log_message("K905-1: Applying image adjustments:");
  log_message("  ICC Enabled: %s", s.icc_enabled ? "Yes" : "No");
  if (s.icc_enabled) {
    log_message("  ICC Profile: %s", s.icc_name.c_str());
  }
  log_message("  Brightness: %d (%.2f)", s.brightness, s.brightness / 1000.0);
  log_message("  Contrast: %d (%.2f)", s.contrast, s.contrast / 1000.0);
  log_message("  Saturation: %d (%.2f)", s.saturation, s.saturation / 1000.0);
  log_message("  Gamma: %d (%.3f)", s.gamma, s.gamma / 1000.0);
  log_message("  Image Type: %s", s.image_type.c_str());
  log_message("  Color Correction: %s", s.color_correction.c_str());
  save_image("adjust_before", image);
  if (s.icc_enabled) {
    convert_icc(image);
    save_image("adjust_after_icc", image);
  }
  tone(image);
  save_image("adjust_after", image);
  log_message("K905-1: Image adjustments applied");
  save_image("05b_after_adjustments", image);
  log_message("K905-1: After adjustments - Pixel[0]: R=%d, G=%d, B=%d", pixel(image, 0, 0),
              pixel(image, 1, 0), pixel(image, 2, 0));
}

void PlainFilter::tone(Image& image) const {
  for_each_pixel(image, plain::tone_chain_of(settings));
}

void PlainFilter::rotate(Image& image) {
  Image out = make_image(image.height, image.width);
  for (int i = 0; i < 3; ++i) {
    for (int y = 0; y < image.height; ++y) {
      for (int x = 0; x < image.width; ++x) {
        out.plane[i][index_of(out, y, image.width - 1 - x)] = image.plane[i][index_of(image, x, y)];
      }
    }
  }
  image = std::move(out);
}

void PlainFilter::place(const Image& image, Image& canvas) {
  const Settings& s = settings;
  const Layout l = layout();
  const int width = l.effective_width;
  const int height = l.effective_height;
  const bool user_bleed =
      s.bleed_top != 0 || s.bleed_bottom != 0 || s.bleed_left != 0 || s.bleed_right != 0;
  log_message("K905-1: === STAGE 8: Place on canvas ===");
  log_message("K905-1: Paper config: %s, canvas=%dx%d", s.paper.label.c_str(), l.canvas_width,
              l.canvas_height);
  log_message("K905-1: Image size: %dx%d", image.width, image.height);
  log_message("K905-1: Bleed values from %s - Top(A):%d, Bottom(B):%d, Left(C):%d, Right(D):%d",
              user_bleed ? "default + delta (PPD/CLI)" : "default (CUPSFile)", l.top, l.bottom,
              l.left, l.right);
  log_message("K905-1: Effective image area: %dx%d (already used in stage 1.5)", width, height);

  Image stretched = image;
  if (image.width == width && image.height == height) {
    log_message("K905-1: Image already matches effective area size");
  } else {
    log_message("K905-1: WARNING: Image size doesn't match effective area, stretching to fill...");
    log_message("K905-1:   Image: %dx%d, Effective area: %dx%d", image.width, image.height, width,
                height);
    const double scale_w = static_cast<double>(width) / image.width;
    const double scale_h = static_cast<double>(height) / image.height;
    log_message("K905-1: Stretching %dx%d -> %dx%d (scale_w=%.4f, scale_h=%.4f, non-proportional)",
                image.width, image.height, width, height, scale_w, scale_h);
    stretched = make_image(width, height);
    for (int dy = 0; dy < height; ++dy) {
      const double row = ((dy + 0.5) * (1 / scale_h)) - 0.5 + 0.5;
      const int sy = std::clamp(static_cast<int>(row), 0, image.height - 1);
      for (int dx = 0; dx < width; ++dx) {
        const double column = ((dx + 0.5) * (1 / scale_w)) - 0.5 + 0.5;
        const int sx = std::clamp(static_cast<int>(column), 0, image.width - 1);
        for (int i = 0; i < 3; ++i) {
          stretched.plane[i][index_of(stretched, dx, dy)] = image.plane[i][index_of(image, sx, sy)];
        }
      }
    }
  }
  // Pixels outside the canvas are lost; what the image does not cover stays white.
  canvas = make_image(l.canvas_width, l.canvas_height, 255);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const std::int64_t row = std::int64_t{l.top} + y;
      const std::int64_t column = std::int64_t{l.left} + x;
      if (row < canvas.height && column < canvas.width) {
        for (int i = 0; i < 3; ++i) {
          canvas.plane[i][index_of(canvas, static_cast<int>(column), static_cast<int>(row))] =
              stretched.plane[i][index_of(stretched, x, y)];
        }
      }
    }
  }
  log_message("K905-1: Canvas created with bleed: %dx%d", l.canvas_width, l.canvas_height);
}

}  // namespace reference
