// The tone chain of some settings by the plain formulas.
#pragma once

#include "settings/print_options.h"
#include "tests/support/plain_formulas.h"

inline plain::ToneChain tone_formula(const PrintOptions& o) {
  return plain::ToneChain({.brightness = o.brightness,
                           .contrast = o.contrast,
                           .saturation = o.saturation,
                           .gamma = o.gamma,
                           .channel_gamma = {o.cyan_gamma, o.magenta_gamma, o.yellow_gamma},
                           .balance = {o.cyan_balance, o.magenta_balance, o.yellow_balance},
                           .correction = o.color_correction,
                           .linear_contrast = o.linear_contrast != 0,
                           .legacy_gamma = o.legacy_gamma != 0});
}
