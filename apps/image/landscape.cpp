// Plain double arithmetic without the maths library's curves, which differ between machines in the
// last bit: every waves and ridges here are sums of smoothed random values.
#include "apps/image/landscape.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

struct Colour {
  double red;
  double green;
  double blue;
};

Colour mixed(const Colour& a, const Colour& b, double amount_of_b) {
  const double t = std::clamp(amount_of_b, 0.0, 1.0);
  return {a.red + (b.red - a.red) * t, a.green + (b.green - a.green) * t,
          a.blue + (b.blue - a.blue) * t};
}

Colour dimmed(const Colour& colour, double factor) {
  return {colour.red * factor, colour.green * factor, colour.blue * factor};
}

double smooth_step(double from, double to, double x) {
  const double t = std::clamp((x - from) / (to - from), 0.0, 1.0);
  return t * t * (3 - 2 * t);
}

// A random value of 0 to 1 that belongs to a point of the integer grid.
double lattice(std::int32_t x, std::int32_t y, std::uint32_t seed) {
  std::uint32_t hash = static_cast<std::uint32_t>(x) * 0x9E3779B1U ^
                       static_cast<std::uint32_t>(y) * 0x85EBCA77U ^ seed * 0xC2B2AE3DU;
  hash = (hash ^ hash >> 15) * 0x2C1B3C6DU;
  hash = (hash ^ hash >> 12) * 0x297A2D39U;
  return static_cast<double>((hash ^ hash >> 15) & 0xFFFF) / 65535.0;
}

double smooth_noise(double x, double y, std::uint32_t seed) {
  const double column = std::floor(x);
  const double row = std::floor(y);
  const double fx = smooth_step(0, 1, x - column);
  const double fy = smooth_step(0, 1, y - row);
  const auto ix = static_cast<std::int32_t>(column);
  const auto iy = static_cast<std::int32_t>(row);
  const double above =
      lattice(ix, iy, seed) + (lattice(ix + 1, iy, seed) - lattice(ix, iy, seed)) * fx;
  const double below =
      lattice(ix, iy + 1, seed) + (lattice(ix + 1, iy + 1, seed) - lattice(ix, iy + 1, seed)) * fx;
  return above + (below - above) * fy;
}

// Noise over noise of half the size: ragged, 0 to 1.
double rough_noise(double x, double y, std::uint32_t seed, int octaves) {
  double sum = 0;
  double weight = 0.5;
  double total = 0;
  for (int octave = 0; octave < octaves; ++octave) {
    sum += weight * smooth_noise(x, y, seed + static_cast<std::uint32_t>(octave));
    total += weight;
    weight *= 0.5;
    x *= 2;
    y *= 2;
  }
  return sum / total;
}

// Places are measured in heights of the picture: u to the right, v downwards, 0 to 1.
constexpr double kShore = 0.70;   // where the lake begins
constexpr double kMeadow = 0.86;  // where it ends, roughly
constexpr double kSunHeight = 0.40;
constexpr double kSunRadius = 0.05;

struct Scene {
  double aspect;  // width in heights
  [[nodiscard]] double sun_u() const { return aspect * 0.68; }
};

Colour sky(const Scene& scene, double u, double v) {
  constexpr Colour zenith{28, 78, 168};
  constexpr Colour middle{118, 170, 226};
  constexpr Colour horizon{255, 214, 160};
  Colour colour = v < 0.35 ? mixed(zenith, middle, v / 0.35)
                           : mixed(middle, horizon, smooth_step(0.35, 0.66, v));
  const double du = u - scene.sun_u();
  const double dv = v - kSunHeight;
  const double distance = std::sqrt(du * du + dv * dv);
  const double glow = std::max(0.0, 1 - distance / 0.55);
  colour = mixed(colour, {255, 226, 150}, glow * glow * 0.85);
  const double cloud = rough_noise(u * 3.0 + 7, v * 9.0, 11, 5);
  const double cover =
      smooth_step(0.52, 0.78, cloud) * smooth_step(0.02, 0.2, v) * (1 - smooth_step(0.5, 0.66, v));
  const Colour lit = mixed({250, 244, 240}, {255, 222, 176}, glow);
  colour = mixed(colour, lit, cover * 0.9);
  return mixed({255, 250, 222}, colour,
               smooth_step(kSunRadius - 0.003, kSunRadius + 0.003, distance));
}

// How far down the ridge of a mountain chain lies.
double ridge(double u, double base, double height, double width, std::uint32_t seed) {
  const double rise = rough_noise(u / width, 0.5, seed, 6);
  return base - height * std::max(0.0, rise - 0.25) * 1.7;
}

// Everything above the lake; the lake shows it again upside down.
Colour above_the_lake(const Scene& scene, double u, double v) {
  const double far = ridge(u, 0.66, 0.42, 0.42, 101);
  const double middle = ridge(u, 0.69, 0.26, 0.30, 202);
  const double near = ridge(u, 0.715, 0.13, 0.16, 303);
  if (v > near) {
    const double texture = rough_noise(u * 90, v * 140, 5, 3);
    return mixed({24, 52, 30}, {58, 92, 44}, texture * (1.3 - (v - near) * 8));
  }
  if (v > middle) {
    const double texture = rough_noise(u * 40, v * 60, 6, 4);
    const Colour rock = mixed({52, 84, 92}, {86, 120, 104}, texture);
    return mixed(rock, {168, 178, 178}, smooth_step(0.55, 0.72, v) * 0.45);
  }
  if (v > far) {
    const double texture = rough_noise(u * 26 + v * 9, v * 34, 7, 5);
    const Colour rock = mixed({82, 98, 134}, {140, 150, 172}, texture);
    const double snow_line = 0.47 + (texture - 0.5) * 0.16;
    const Colour peak = mixed({252, 250, 250}, rock, smooth_step(snow_line - 0.02, snow_line, v));
    return mixed(peak, {214, 204, 196}, smooth_step(0.45, 0.68, v) * 0.6);
  }
  return sky(scene, u, v);
}

Colour lake(const Scene& scene, double u, double v) {
  const double depth = (v - kShore) / (kMeadow - kShore);
  const double ripple = rough_noise(u * 14, v * 160, 21, 3) - 0.5;
  const double mirrored = kShore - (v - kShore) * 2.1 + ripple * 0.05 * (0.3 + depth);
  const Colour reflection = above_the_lake(scene, u + ripple * 0.02, std::max(0.0, mirrored));
  const Colour water = mixed(dimmed(reflection, 0.86), {24, 70, 104}, 0.18 + 0.22 * depth);
  // The sun's road over the water.
  const double off = std::fabs(u - scene.sun_u()) / (0.03 + 0.09 * depth);
  const double sparkle = smooth_step(0.05, 0.3, ripple) * std::max(0.0, 1 - off);
  return mixed(water, {255, 238, 190}, sparkle * 0.9);
}

Colour meadow(double u, double v, double edge) {
  const double near = (v - edge) / (1 - edge);
  const double blades = rough_noise(u * 160, v * 40, 31, 4);
  const double patches = rough_noise(u * 6, v * 12, 32, 3);
  Colour grass = mixed({34, 84, 26}, {142, 176, 52}, blades * 0.8 + patches * 0.5 - 0.15);
  grass = dimmed(grass, 0.72 + 0.28 * near);
  // One flower may stand in each cell; cells grow towards the viewer.
  const double size = near < 0.35 ? 0.008 : 0.016;
  const auto column = static_cast<std::int32_t>(std::floor(u / size));
  const auto row = static_cast<std::int32_t>(std::floor(v / size));
  if (lattice(column, row, 41) > 0.84 - 0.1 * patches) {
    const double du = u / size - column - 0.3 - 0.4 * lattice(column, row, 42);
    const double dv = v / size - row - 0.3 - 0.4 * lattice(column, row, 43);
    constexpr std::array<Colour, 4> blossoms{
        {{226, 34, 46}, {250, 206, 30}, {244, 240, 250}, {156, 60, 196}}};
    const auto which = static_cast<std::size_t>(lattice(column, row, 44) * 3.999);
    const double edge_of_blossom = 0.27 - std::sqrt(du * du + dv * dv);
    return mixed(grass, blossoms[which], smooth_step(-0.05, 0.05, edge_of_blossom));
  }
  return grass;
}

// A fir whose trunk stands at u, v and that is `height` tall: how much of it covers the place.
bool fir_covers(double fir_u, double fir_v, double height, double u, double v) {
  const double up = (fir_v - v) / height;
  if (up < 0 || up > 1) {
    return false;
  }
  const double off = std::fabs(u - fir_u) / height;
  if (up < 0.08) {
    return off < 0.02;
  }
  const double tier = up * 7 - std::floor(up * 7);
  return off < (1 - up) * 0.25 * (1 - 0.4 * tier);
}

constexpr std::array<std::array<double, 3>, 7> kFirs{{{0.055, 0.93, 0.36},
                                                      {0.115, 0.91, 0.27},
                                                      {0.015, 0.90, 0.25},
                                                      {0.165, 0.885, 0.17},
                                                      {0.93, 0.92, 0.33},
                                                      {0.985, 0.95, 0.40},
                                                      {0.885, 0.895, 0.20}}};

Colour scene_at(const Scene& scene, double u, double v) {
  for (const auto& [place, foot, height] : kFirs) {
    if (fir_covers(place * scene.aspect, foot, height, u, v)) {
      const double texture = rough_noise(u * 120, v * 120, 51, 2);
      return mixed({10, 34, 22}, {40, 82, 44}, texture);
    }
  }
  const double edge = kMeadow + (rough_noise(u * 2.2, 0.3, 61, 4) - 0.5) * 0.08;
  if (v > edge) {
    return meadow(u, v, edge);
  }
  return v > kShore ? lake(scene, u, v) : above_the_lake(scene, u, v);
}

std::uint8_t to_byte(double value) {
  return static_cast<std::uint8_t>(std::clamp(value + 0.5, 0.0, 255.0));
}

class Painting {
 public:
  Painting(std::uint32_t width, std::uint32_t height) : picture_(blank_picture(width, height)) {}

  void paint_scene() {
    const Scene scene{static_cast<double>(picture_.width) / picture_.height};
    for (std::uint32_t y = 0; y < picture_.height; ++y) {
      for (std::uint32_t x = 0; x < picture_.width; ++x) {
        set(x, y, scene_at(scene, (x + 0.5) / picture_.height, (y + 0.5) / picture_.height));
      }
    }
  }

  // The pure colours and four greys on a white card, bottom centre.
  void paint_patches() {
    constexpr std::array<Colour, 12> patches{{{0, 0, 0},
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
    const std::uint32_t count = patches.size();
    const std::uint32_t card = side * (count + 1);
    const std::uint32_t x0 = picture_.width > card ? (picture_.width - card) / 2 : 0;
    const std::uint32_t y0 = picture_.height - std::min(picture_.height, side * 5 / 2);
    fill(x0, y0, card, side * 2, {250, 250, 248});
    for (std::uint32_t i = 0; i < count; ++i) {
      fill(x0 + side / 2 + i * side, y0 + side / 2, side, side, patches[i]);
    }
  }

  // Red, green, blue and yellow angles, clockwise from the top left.
  void paint_corner_marks() {
    const std::uint32_t arm = picture_.height / 14;
    const std::uint32_t pen = std::max<std::uint32_t>(1, arm / 8);
    const std::uint32_t gap = pen * 2;
    const std::uint32_t right = picture_.width - std::min(picture_.width, gap);
    const std::uint32_t bottom = picture_.height - std::min(picture_.height, gap);
    if (right < arm || bottom < arm) {
      return;
    }
    angle(gap, gap, gap, gap, arm, pen, {236, 28, 36});
    angle(right - arm, gap, right - pen, gap, arm, pen, {0, 200, 80});
    angle(right - arm, bottom - pen, right - pen, bottom - arm, arm, pen, {30, 60, 230});
    angle(gap, bottom - pen, gap, bottom - arm, arm, pen, {255, 222, 0});
  }

  Picture take() { return std::move(picture_); }

 private:
  void set(std::uint32_t x, std::uint32_t y, const Colour& colour) {
    std::uint8_t* pixel = picture_.bytes.data() + (std::size_t{y} * picture_.width + x) * 3;
    pixel[0] = to_byte(colour.red);
    pixel[1] = to_byte(colour.green);
    pixel[2] = to_byte(colour.blue);
  }

  void fill(std::uint32_t x0, std::uint32_t y0, std::uint32_t w, std::uint32_t h,
            const Colour& colour) {
    for (std::uint32_t y = y0; y < std::min(y0 + h, picture_.height); ++y) {
      for (std::uint32_t x = x0; x < std::min(x0 + w, picture_.width); ++x) {
        set(x, y, colour);
      }
    }
  }

  // A horizontal arm from x, y and a vertical one from vx, vy.
  void angle(std::uint32_t x, std::uint32_t y, std::uint32_t vx, std::uint32_t vy,
             std::uint32_t arm, std::uint32_t pen, const Colour& colour) {
    fill(x, y, arm, pen, colour);
    fill(vx, vy, pen, arm, colour);
  }

  Picture picture_;
};

}  // namespace

Picture draw_landscape(std::uint32_t width, std::uint32_t height) {
  Painting painting(width, height);
  painting.paint_scene();
  painting.paint_patches();
  painting.paint_corner_marks();
  return painting.take();
}
