// The color cache with a conversion that counts its calls.
#include "pipeline/color_cache.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tests/pipeline_adjust/icc_page.h"

namespace {

// A conversion that mixes the channels and counts its calls.
struct CountingConversion {
  mutable std::size_t colors = 0;
  mutable std::size_t calls = 0;

  static void convert(const void* context, const std::uint8_t* in, std::uint8_t* out,
                      std::size_t count) {
    const auto& self = *static_cast<const CountingConversion*>(context);
    self.colors += count;
    ++self.calls;
    EXPECT_LE(count, ColorCache::kMaxColors);
    for (std::size_t i = 0; i < count; ++i) {
      out[3 * i] = static_cast<std::uint8_t>(in[3 * i] ^ in[3 * i + 1]);
      out[3 * i + 1] = static_cast<std::uint8_t>(in[3 * i + 1] + 3 * in[3 * i + 2]);
      out[3 * i + 2] = static_cast<std::uint8_t>(255 - in[3 * i]);
    }
  }
};

std::vector<std::uint8_t> expected_of(const std::vector<std::uint8_t>& rgb) {
  std::vector<std::uint8_t> out(rgb.size());
  for (std::size_t i = 0; i < rgb.size(); i += 3 * ColorCache::kMaxColors) {
    const std::size_t pixels = std::min(ColorCache::kMaxColors, (rgb.size() - i) / 3);
    const CountingConversion scratch;
    CountingConversion::convert(&scratch, rgb.data() + i, out.data() + i, pixels);
  }
  return out;
}

// Converts a page and returns how many colors were not in the cache.
std::size_t converted(ColorCache& cache, const Page& page) {
  const CountingConversion counted;
  const auto out = through_rows(page, [&](const PlaneRow& row) {
    cache.convert_row(row, page.width, {CountingConversion::convert, &counted, true});
  });
  EXPECT_TRUE(out == expected_of(page.rgb));
  return counted.colors;
}

TEST(ColorCache, ConvertsAColorOnce) {
  ColorCache cache;
  cache.reset();
  const Page page = plain_page(100, 1, 0, 0, 0);  // an empty entry does not match black
  EXPECT_EQ(converted(cache, page), 100u);        // the first row is all new
  EXPECT_EQ(converted(cache, page), 0u);
}

TEST(ColorCache, IsEmptyAfterAReset) {
  ColorCache cache;
  cache.reset();
  converted(cache, plain_page(5, 2, 9, 9, 9));
  cache.reset();
  EXPECT_EQ(converted(cache, plain_page(5, 1, 9, 9, 9)), 5u);
}

TEST(ColorCache, ConvertsEverythingBeforeItsFirstReset) {
  ColorCache cache;
  EXPECT_EQ(converted(cache, plain_page(700, 3, 9, 9, 9)), 2100u);
}

TEST(ColorCache, AcceptsRowsOfAnyWidth) {
  ColorCache cache;
  cache.reset();
  for (const std::size_t width : {0, 1, 511, 512, 513, 1024, 1025}) {
    converted(cache, photo_page(width, 3, static_cast<unsigned>(width)));
  }
}

TEST(ColorCache, SavesMostConversionsOfAPhotograph) {
  ColorCache cache;
  cache.reset();
  const Page page = photo_page(800, 400, 1);
  EXPECT_LT(converted(cache, page), page.width * page.height / 4);
}

TEST(ColorCache, PausesOnNoiseAndContinuesLater) {
  ColorCache cache;
  cache.reset();
  // Most rows bypass the cache and are not stored.
  const Page noise = noise_page(600, 400, 2);
  EXPECT_GT(converted(cache, noise), noise.width * noise.height * 9 / 10);
  EXPECT_GT(converted(cache, noise), noise.width * noise.height * 9 / 10);
  // After some rows the cache detects that look-ups are useful again.
  const Page calm = plain_page(600, 2000, 8, 8, 8);
  EXPECT_LT(converted(cache, calm), calm.width * calm.height / 2);
}

TEST(ColorCache, ContinuesOnANewPage) {
  ColorCache cache;
  cache.reset();
  converted(cache, noise_page(600, 400, 3));
  const Page calm = plain_page(600, 20, 8, 8, 8);
  EXPECT_EQ(converted(cache, calm), 12000u) << "the cache was not paused";
  cache.begin_page();
  EXPECT_EQ(converted(cache, calm), 512u);  // the first batch of the first row
}

TEST(ColorCache, KeepsItsColorsOnANewPage) {
  ColorCache cache;
  cache.reset();
  converted(cache, plain_page(600, 1, 8, 8, 8));
  cache.begin_page();
  EXPECT_EQ(converted(cache, plain_page(600, 1, 8, 8, 8)), 0u);
}

// Every 24-bit number once, in pseudo-random order.
std::uint32_t shuffled(std::uint32_t number) {
  number = ((number ^ (number >> 13U)) * 0x5BD1E9U) & 0xFFFFFFU;
  number = ((number ^ (number >> 11U)) * 0xB5297BU) & 0xFFFFFFU;
  return number ^ (number >> 12U);
}

// Colors share slots. In this order each color finds another one in its slot.
TEST(ColorCache, DistinguishesAllColors) {
  constexpr std::size_t kRow = 4096;
  ColorCache cache;
  cache.reset();
  const CountingConversion counted;
  for (std::uint32_t first = 0; first < 1U << 24U; first += kRow) {
    cache.begin_page();  // otherwise the cache would be bypassed
    Page page{kRow, 1, {}};
    for (std::uint32_t i = 0; i < kRow; ++i) {
      const std::uint32_t color = shuffled(first + i);
      page.rgb.insert(page.rgb.end(),
                      {static_cast<std::uint8_t>(color), static_cast<std::uint8_t>(color >> 8U),
                       static_cast<std::uint8_t>(color >> 16U)});
    }
    const auto out = through_rows(page, [&](const PlaneRow& row) {
      cache.convert_row(row, kRow, {CountingConversion::convert, &counted, true});
    });
    ASSERT_TRUE(out == expected_of(page.rgb)) << first;
  }
}

// Look-ups save time for an expensive conversion even if they do not for a cheap one.
TEST(ColorCache, AcceptsMoreMissesWhenTheConversionIsExpensive) {
  // Every second pixel is noise.
  Page page = noise_page(600, 300, 4);
  for (std::size_t i = 0; i < page.width * page.height; i += 2) set_pixel(page, i, 7, 7, 7);
  for (const bool is_expensive : {false, true}) {
    ColorCache cache;
    cache.reset();
    const CountingConversion counted;
    through_rows(page, [&](const PlaneRow& row) {
      cache.convert_row(row, page.width, {CountingConversion::convert, &counted, is_expensive});
    });
    const double share = static_cast<double>(counted.colors) / (600.0 * 300.0);
    if (is_expensive) {
      EXPECT_LT(share, 0.6);
    } else {
      EXPECT_GT(share, 0.8);
    }
  }
}

}  // namespace
