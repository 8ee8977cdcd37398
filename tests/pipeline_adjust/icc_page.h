// A small page and its way through IccConversion, as the pipeline would send it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "pipeline/icc_transform.h"
#include "pipeline/kernels/kernels.h"
#include "settings/print_options.h"
#include "tests/support/captured_log.h"

// Pixels as the stage counts them: pixel 0 is the first of the first row, after the mirror.
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

// Slow changes with a little grain: the colors of a photograph return.
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

// Settings that ask for a conversion from `source` to `target`.
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

// Runs `code` on every row of `page`, chunky, unmirrored and with slack behind, and returns the
// rows in the order of the page again.
template <typename Code>
std::vector<std::uint8_t> through_rows(const Page& page, bool mirrored, const Code& code) {
  std::vector<std::uint8_t> out;
  const auto turned = [&](const std::vector<std::uint8_t>& row) {
    std::vector<std::uint8_t> other(row.size());
    for (std::size_t x = 0; x < page.width; ++x) {
      const std::size_t from = mirrored ? page.width - 1 - x : x;
      for (std::size_t c = 0; c < 3; ++c) other[3 * x + c] = row[3 * from + c];
    }
    return other;
  };
  for (std::size_t y = 0; y < page.height; ++y) {
    const auto begin = page.rgb.begin() + static_cast<std::ptrdiff_t>(3 * page.width * y);
    std::vector<std::uint8_t> row =
        turned({begin, begin + static_cast<std::ptrdiff_t>(3 * page.width)});
    row.resize(row.size() + kernels::kRowSlack, 0x5A);
    code(y, row.data());
    row.resize(3 * page.width);
    row = turned(row);
    out.insert(out.end(), row.begin(), row.end());
  }
  return out;
}

inline Result convert_page(const PrintOptions& options, const Page& page, bool mirrored = false,
                           IccCache* memory = nullptr) {
  Result result;
  IccConversion conversion;
  const std::string too_early = captured_log([&] {
    conversion.prepare(options, page.width, page.height, mirrored, memory);
    result.rgb = through_rows(page, mirrored,
                              [&](std::size_t y, std::uint8_t* row) { conversion.row(y, row); });
  });
  result.log = too_early + captured_log([&] { conversion.report(options); });
  return result;
}
