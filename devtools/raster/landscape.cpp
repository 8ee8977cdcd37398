// Of the math library only sqrt, floor and fabs are used, which are exact; other functions differ
// between machines in the last bit. Ridges, clouds and waves are sums of smoothed random values.
#include "devtools/raster/landscape.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace {

using Color = std::array<double, 3>;

Color mixed(const Color& a, const Color& b, double amount_of_b) {
  const double t = std::clamp(amount_of_b, 0.0, 1.0);
  return {a[0] + (b[0] - a[0]) * t, a[1] + (b[1] - a[1]) * t, a[2] + (b[2] - a[2]) * t};
}

double smooth_step(double from, double to, double x) {
  const double t = std::clamp((x - from) / (to - from), 0.0, 1.0);
  return t * t * (3 - 2 * t);
}

// A random value of 0 to 1 for a point of the integer grid.
double lattice(std::int32_t x, std::int32_t y, std::uint32_t seed) {
  std::uint32_t hash = static_cast<std::uint32_t>(x) * 0x9E3779B1U ^
                       static_cast<std::uint32_t>(y) * 0x85EBCA77U ^ seed * 0xC2B2AE3DU;
  hash = (hash ^ hash >> 15) * 0x2C1B3C6DU;
  hash = (hash ^ hash >> 12) * 0x297A2D39U;
  return static_cast<double>((hash ^ hash >> 15) & 0xFFFF) / 65535.0;
}

// A sum of smoothed random values, each with half the size and weight of the one before: ragged,
// 0 to 1.
double noise(double x, double y, std::uint32_t seed, int octaves = 5) {
  double sum = 0;
  double weight = 0.5;
  for (int octave = 0; octave < octaves; ++octave, weight *= 0.5, x *= 2, y *= 2, ++seed) {
    const auto ix = static_cast<std::int32_t>(std::floor(x));
    const auto iy = static_cast<std::int32_t>(std::floor(y));
    const double fx = smooth_step(0, 1, x - ix);
    const double above = lattice(ix, iy, seed) * (1 - fx) + lattice(ix + 1, iy, seed) * fx;
    const double below = lattice(ix, iy + 1, seed) * (1 - fx) + lattice(ix + 1, iy + 1, seed) * fx;
    sum += weight * (above + (below - above) * smooth_step(0, 1, y - iy));
  }
  return sum / (1 - weight * 2);
}

// Coordinates in heights of the image: u to the right, v downwards, 0 to 1.
constexpr double kShore = 0.70;   // where the lake begins
constexpr double kMeadow = 0.86;  // where it ends, roughly

Color sky(double aspect, double u, double v) {
  Color color = v < 0.35 ? mixed({28, 78, 168}, {118, 170, 226}, v / 0.35)
                         : mixed({118, 170, 226}, {255, 214, 160}, smooth_step(0.35, 0.66, v));
  const double du = u - aspect * 0.68;
  const double dv = v - 0.40;
  const double sun_distance = std::sqrt(du * du + dv * dv);
  const double glow = std::max(0.0, 1 - sun_distance / 0.55);
  color = mixed(color, {255, 226, 150}, glow * glow * 0.85);
  const double cover = smooth_step(0.5, 0.76, noise(u * 3 + 7, v * 9, 11)) * smooth_step(0, 0.2, v);
  color = mixed(color, mixed({250, 244, 240}, {255, 222, 176}, glow), cover * 0.9);
  return mixed({255, 250, 222}, color, smooth_step(0.047, 0.053, sun_distance));
}

struct Ridge {
  double base;
  double height;
  double width;
  Color dark;
  Color light;
};
constexpr std::array<Ridge, 3> kRidges{{{0.715, 0.13, 0.16, {24, 52, 30}, {58, 92, 44}},
                                        {0.69, 0.26, 0.30, {52, 84, 92}, {110, 138, 130}},
                                        {0.66, 0.42, 0.42, {82, 98, 134}, {170, 172, 186}}}};

// Everything above the lake; the lake mirrors it upside down.
Color above_the_lake(double aspect, double u, double v) {
  std::uint32_t seed = 100;
  for (const Ridge& ridge : kRidges) {
    seed += 100;
    const double rise = noise(u / ridge.width, 0.5, seed, 6);
    if (v > ridge.base - ridge.height * std::max(0.0, rise - 0.25) * 1.7) {
      const double texture = noise(u * 40, v * 60, seed);
      const Color rock = mixed(ridge.dark, ridge.light, texture);
      const double snow_line = 0.30 + ridge.height * 0.4 + (texture - 0.5) * 0.16;
      const bool is_far = ridge.height > 0.4;
      return is_far ? mixed({252, 250, 250}, rock, smooth_step(snow_line - 0.02, snow_line, v))
                    : rock;
    }
  }
  return sky(aspect, u, v);
}

Color lake(double aspect, double u, double v) {
  const double depth = (v - kShore) / (kMeadow - kShore);
  const double ripple = noise(u * 14, v * 160, 21, 3) - 0.5;
  const double mirrored = kShore - (v - kShore) * 2.1 + ripple * 0.05 * (0.3 + depth);
  const Color reflection = above_the_lake(aspect, u + ripple * 0.02, std::max(0.0, mirrored));
  const Color water = mixed(reflection, {24, 60, 90}, 0.28 + 0.22 * depth);
  // The reflection of the sun on the water.
  const double off = std::fabs(u - aspect * 0.68) / (0.03 + 0.09 * depth);
  return mixed(water, {255, 238, 190}, smooth_step(0.05, 0.3, ripple) * (1 - std::min(1.0, off)));
}

// Grass, and at most one flower in each cell.
Color meadow(double u, double v) {
  constexpr double cell = 0.012;
  constexpr std::array<Color, 4> blossoms{
      {{226, 34, 46}, {250, 206, 30}, {244, 240, 250}, {156, 60, 196}}};
  const Color grass = mixed({28, 70, 22}, {142, 176, 52}, noise(u * 160, v * 40, 31));
  const auto column = static_cast<std::int32_t>(std::floor(u / cell));
  const auto row = static_cast<std::int32_t>(std::floor(v / cell));
  if (lattice(column, row, 41) < 0.82) {
    return grass;
  }
  const double du = u / cell - column - 0.3 - 0.4 * lattice(column, row, 42);
  const double dv = v / cell - row - 0.3 - 0.4 * lattice(column, row, 43);
  const auto which = static_cast<std::size_t>(lattice(column, row, 44) * 3.999);
  return mixed(grass, blossoms[which],
               smooth_step(-0.05, 0.05, 0.27 - std::sqrt(du * du + dv * dv)));
}

Color scene_at(double aspect, double u, double v) {
  if (v > kMeadow + (noise(u * 2.2, 0.3, 61) - 0.5) * 0.08) {
    return meadow(u, v);
  }
  return v > kShore ? lake(aspect, u, v) : above_the_lake(aspect, u, v);
}

class Painting {
 public:
  Painting(std::uint32_t width, std::uint32_t height)
      : picture_(k905::black_picture(width, height)) {}

  void paint_scene() {
    const double aspect = static_cast<double>(picture_.width) / picture_.height;
    for (std::uint32_t y = 0; y < picture_.height; ++y) {
      for (std::uint32_t x = 0; x < picture_.width; ++x) {
        set(x, y, scene_at(aspect, (x + 0.5) / picture_.height, (y + 0.5) / picture_.height));
      }
    }
  }

  // Grays, pure colors and a skin tone on a white card, bottom center.
  void paint_patches() {
    constexpr std::array<Color, 12> patches{{{0, 0, 0},
                                             {85, 85, 85},
                                             {128, 128, 128},
                                             {192, 192, 192},
                                             {255, 255, 255},
                                             {230, 0, 18},
                                             {0, 155, 70},
                                             {0, 70, 170},
                                             {0, 165, 225},
                                             {228, 0, 130},
                                             {255, 230, 0},
                                             {225, 172, 140}}};
    const std::uint32_t side = std::max<std::uint32_t>(1, picture_.height / 28);
    const auto card = side * static_cast<std::uint32_t>(patches.size() + 1);
    std::uint32_t x = picture_.width > card ? (picture_.width - card) / 2 : 0;
    const std::uint32_t y = picture_.height - std::min(picture_.height, side * 5 / 2);
    fill(x, y, card, side * 2, {250, 250, 248});
    x += side / 2;
    for (const Color& patch : patches) {
      fill(x, y + side / 2, side, side, patch);
      x += side;
    }
  }

  // Red, green, blue and yellow L-shaped marks, clockwise from the top left.
  void paint_corner_marks() {
    const std::uint32_t arm = picture_.height / 14;
    const std::uint32_t pen = std::max<std::uint32_t>(1, arm / 8);
    const std::uint32_t gap = pen * 2;
    if (picture_.width < gap + arm || picture_.height < gap + arm) {
      return;
    }
    constexpr std::array<Color, 4> colors{
        {{236, 28, 36}, {0, 200, 80}, {30, 60, 230}, {255, 222, 0}}};
    for (std::size_t corner = 0; corner < colors.size(); ++corner) {
      const bool right = corner == 1 || corner == 2;
      const bool bottom = corner >= 2;
      const std::uint32_t x = right ? picture_.width - gap : gap;
      const std::uint32_t y = bottom ? picture_.height - gap : gap;
      fill(right ? x - arm : x, bottom ? y - pen : y, arm, pen, colors[corner]);
      fill(right ? x - pen : x, bottom ? y - arm : y, pen, arm, colors[corner]);
    }
  }

  k905::Picture take() { return std::move(picture_); }

 private:
  void set(std::uint32_t x, std::uint32_t y, const Color& color) {
    std::uint8_t* pixel = picture_.bytes.data() + (std::size_t{y} * picture_.width + x) * 3;
    for (std::size_t i = 0; i < 3; ++i) {
      pixel[i] = static_cast<std::uint8_t>(std::clamp(color[i] + 0.5, 0.0, 255.0));
    }
  }

  void fill(std::uint32_t x0, std::uint32_t y0, std::uint32_t width, std::uint32_t height,
            const Color& color) {
    for (std::uint32_t y = y0; y < std::min(y0 + height, picture_.height); ++y) {
      for (std::uint32_t x = x0; x < std::min(x0 + width, picture_.width); ++x) {
        set(x, y, color);
      }
    }
  }

  k905::Picture picture_;
};

}  // namespace

k905::Picture draw_landscape(std::uint32_t width, std::uint32_t height) {
  Painting painting(width, height);
  painting.paint_scene();
  painting.paint_patches();
  painting.paint_corner_marks();
  return painting.take();
}
