// A small page, and the adjust stage as the pipeline runs it on this page.
#pragma once

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "pipeline/stages.h"
#include "settings/print_options.h"
#include "tests/support/captured_log.h"
#include "tests/support/environment_guard.h"

struct Page {
  std::size_t width = 0;
  std::size_t height = 0;
  std::vector<std::uint8_t> rgb;
};

inline Page plain_page(std::size_t width, std::size_t height, std::uint8_t r, std::uint8_t g,
                       std::uint8_t b) {
  Page page{width, height, {}};
  for (std::size_t i = 0; i < width * height; ++i) page.rgb.insert(page.rgb.end(), {r, g, b});
  return page;
}

inline Page noise_page(std::size_t width, std::size_t height, unsigned seed) {
  std::mt19937 random(seed);
  Page page{width, height, std::vector<std::uint8_t>(3 * width * height)};
  for (std::uint8_t& byte : page.rgb) byte = static_cast<std::uint8_t>(random());
  return page;
}

// Slow color changes with a little grain: colors repeat, as in a photograph.
inline Page photo_page(std::size_t width, std::size_t height, unsigned seed) {
  std::mt19937 random(seed);
  Page page{width, height, {}};
  page.rgb.reserve(3 * width * height);
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < width; ++x) {
      const auto grain = static_cast<std::size_t>(random() % 3);
      page.rgb.push_back(static_cast<std::uint8_t>((x / 8 + grain) % 256));
      page.rgb.push_back(static_cast<std::uint8_t>((y / 4 + grain) % 256));
      page.rgb.push_back(static_cast<std::uint8_t>(((x + y) / 16) % 256));
    }
  }
  return page;
}

inline void set_pixel(Page& page, std::size_t index, std::uint8_t r, std::uint8_t g,
                      std::uint8_t b) {
  page.rgb[3 * index] = r;
  page.rgb[3 * index + 1] = g;
  page.rgb[3 * index + 2] = b;
}

// Settings that select a conversion from `source` to `target`.
inline PrintOptions icc_options(const std::string& source, const std::string& target,
                                const std::string& intent = "Perceptual") {
  PrintOptions options{.paper_config = nullptr};
  options.icc_enabled = 1;
  std::snprintf(options.icc_profile_name, sizeof options.icc_profile_name, "printer");
  std::snprintf(options.icc_profile_path, sizeof options.icc_profile_path, "%s", target.c_str());
  std::snprintf(options.color_base_profile_path, sizeof options.color_base_profile_path, "%s",
                source.c_str());
  std::snprintf(options.icc_intent, sizeof options.icc_intent, "%s", intent.c_str());
  std::snprintf(options.color_base, sizeof options.color_base, "Normal");
  return options;
}

struct Result {
  std::vector<std::uint8_t> rgb;
  std::string log;
};

// Runs `code` on every row of `page`, as three plane rows with slack, and returns the rows as they
// are then.
template <typename Code>
std::vector<std::uint8_t> through_rows(const Page& page, const Code& code) {
  std::vector<std::uint8_t> rgb;
  rgb.reserve(page.rgb.size());
  std::vector<std::uint8_t> planes[3];
  for (auto& plane : planes) plane.resize(page.width + kernels::kRowSlack, 0x5A);
  const PlaneRow row = {{planes[0].data(), planes[1].data(), planes[2].data()}};
  for (std::size_t y = 0; y < page.height; ++y) {
    for (std::size_t i = 0; i < 3 * page.width; ++i) {
      row.plane[i % 3][i / 3] = page.rgb[3 * page.width * y + i];
    }
    code(row);
    for (std::size_t i = 0; i < 3 * page.width; ++i) rgb.push_back(row.plane[i % 3][i / 3]);
  }
  return rgb;
}

// The result of the adjust stage for the page, and the lines of its log about the conversion.
// Without `icc` the page is the first one of a job.
inline Result convert_page(const PrintOptions& options, const Page& page,
                           IccTransform* icc = nullptr) {
  const EnvironmentGuard printing("PPD", "");
  IccTransform first;
  AdjustStage stage;
  Result result;
  const std::string early_log = captured_log([&] {
    stage.prepare(options, page.width, page.height, icc != nullptr ? *icc : first);
    result.rgb = through_rows(page, [&](const PlaneRow& row) { stage.row(row); });
  });
  const std::string log = captured_log([&] { stage.report(options); });
  const std::size_t begin = log.find("K905-1: Before ICC - Pixel[0]");
  result.log = early_log + log.substr(begin, log.find("K905-1: Image adjustments") - begin);
  return result;
}
