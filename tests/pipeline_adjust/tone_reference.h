// The tone chain once more, written from its formulas and not from the product: one volatile float
// an operation, so that no compiler can fuse, reorder or widen anything.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>

#include "settings/print_options.h"

namespace reference {

struct Single {
  volatile float v;
  Single(float value = 0) : v(value) {}
  Single(const Single& other) : v(static_cast<float>(other.v)) {}
  Single& operator=(const Single& other) {
    v = static_cast<float>(other.v);
    return *this;
  }
  [[nodiscard]] float get() const { return v; }
};
inline Single operator+(const Single& a, const Single& b) { return Single(a.get() + b.get()); }
inline Single operator-(const Single& a, const Single& b) { return Single(a.get() - b.get()); }
inline Single operator*(const Single& a, const Single& b) { return Single(a.get() * b.get()); }
inline Single operator/(const Single& a, const Single& b) { return Single(a.get() / b.get()); }

inline Single raised(const Single& c, const Single& exponent) {
  const Single base = c / Single(255.0f);
  return Single(powf(base.get(), exponent.get())) * Single(255.0f);
}

inline std::uint8_t stored(const Single& c) {
  const float value = c.get();
  if (std::isnan(value) || value < 0) return 0;
  if (value > 255.0f) return 255;
  return static_cast<std::uint8_t>(std::trunc(value));
}

inline void toward_mean(Single& r, Single& g, Single& b, const Single& k) {
  const Single m = ((r + g) + b) * Single(0.333333f);
  r = (r - m) * k + m;
  g = (g - m) * k + m;
  b = (b - m) * k + m;
}

inline void adjust(const PrintOptions& o, std::uint8_t rgb[3]) {
  const auto thousandth = [](std::int32_t value) {
    return Single(static_cast<float>(value)) / Single(1000.0f);
  };
  const Single one(1.0f);
  const Single kB = one + thousandth(o.brightness);
  const Single kC = one + thousandth(o.contrast);
  const Single kS = one + thousandth(o.saturation);
  Single c[3] = {Single(rgb[0]), Single(rgb[1]), Single(rgb[2])};
  for (Single& x : c) x = (x * kB - Single(128.0f)) * kC + Single(128.0f);

  const std::int32_t gammas[3] = {o.cyan_gamma, o.magenta_gamma, o.yellow_gamma};
  for (int i = 0; i < 3; ++i) {
    const Single exponent = one / thousandth(gammas[i]);
    if (exponent.get() != 1.0f) c[i] = raised(c[i], exponent);
  }
  const Single exponent = one / thousandth(o.gamma);
  if (exponent.get() != 1.0f) {
    for (Single& x : c) x = raised(x, exponent);
  }
  if (kS.get() != 1.0f) toward_mean(c[0], c[1], c[2], kS);
  c[0] = c[0] * thousandth(o.cyan_balance);
  c[1] = c[1] * thousandth(o.magenta_balance);
  c[2] = c[2] * thousandth(o.yellow_balance);

  const std::string correction = o.color_correction;
  if (correction == "Bright") {
    for (Single& x : c) x = x * Single(1.1f);
  } else if (correction == "Accurate") {
    toward_mean(c[0], c[1], c[2], Single(0.95f));
  } else if (correction == "Hue") {
    const Single red = Single(0.95f) * c[0] + Single(0.05f) * c[2];
    const Single blue = Single(0.95f) * c[2] + Single(0.05f) * c[0];
    c[0] = red;
    c[2] = blue;
  } else if (correction == "Desaturated") {
    toward_mean(c[0], c[1], c[2], Single(0.7f));
  }
  if (o.linear_contrast != 0) {
    for (Single& x : c) x = (x - Single(128.0f)) * Single(1.2f) + Single(128.0f);
  }
  if (o.legacy_gamma != 0) {
    for (Single& x : c) x = raised(x, Single(0.45454544f));
  }
  for (int i = 0; i < 3; ++i) rgb[i] = stored(c[i]);
}

}  // namespace reference
