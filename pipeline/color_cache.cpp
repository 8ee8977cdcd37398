#include "pipeline/color_cache.h"

#include <endian.h>

#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t kEntries = std::size_t{1} << 17;

// Asking goes on from trial to trial. A trial's first rows do not count: after a rest, what the
// memory knows is from elsewhere in the picture.
constexpr int kTrialRows = 16;
constexpr int kUncountedRows = 8;

// A rest follows when more colors than this share were unknown, found by measurement. Each rest is
// twice as long as the one before, until a trial goes well.
constexpr std::size_t kBearablePercentExpensive = 70;
constexpr std::size_t kBearablePercentCheap = 25;
constexpr int kShortestRest = 48;
constexpr int kLongestRest = 768;

// A color as one number of 24 bits, which takes one load and one store on most processors. Reads
// one byte behind the triple.
std::uint32_t color_of(const std::uint8_t* rgb) {
  std::uint32_t four_bytes = 0;
  std::memcpy(&four_bytes, rgb, 4);
  return le32toh(four_bytes) & 0xFFFFFFU;
}

// Of `number` the lower 24 bits.
void put_color(std::uint8_t* rgb, std::uint32_t number) {
  const std::uint32_t four_bytes = htole32(number);
  std::memcpy(rgb, &four_bytes, 3);
}

// Multiplying by an odd number modulo 2^24 only reorders the colors. So the upper 17 bits of the
// product choose a slot and the lower 7 tell which color of that slot it is: an entry needs no
// more of its key, fits 32 bits, and the whole memory fits a small second-level cache.
std::uint32_t reordered(std::uint32_t color) { return color * 0x3779B1U; }

std::size_t slot_of(std::uint32_t color) { return (reordered(color) >> 7U) % kEntries; }

// The upper byte of an entry; never that of an empty one, which is 0.
std::uint32_t tag_of(std::uint32_t color) { return 0x80U | (reordered(color) & 0x7FU); }

}  // namespace

void ColorCache::reset() {
  if (entries_ == nullptr) {
    entries_ = make_buffer<std::uint32_t>(kEntries);
  }
  if (entries_ != nullptr) {
    std::fill_n(entries_.get(), kEntries, 0U);
  }
  begin_page();
}

void ColorCache::begin_page() {
  begin_trial();
  resting_rows_ = 0;
  next_rest_ = kShortestRest;
}

void ColorCache::begin_trial() {
  trial_row_ = 0;
  asked_ = 0;
  unknown_ = 0;
}

void ColorCache::convert_row(std::uint8_t* rgb, std::size_t width, const Conversion& conversion) {
  const bool ask = entries_ != nullptr && resting_rows_ == 0;
  std::size_t unknown = 0;
  for (std::size_t done = 0; done < width; done += kMostAtOnce) {
    std::uint8_t* part = rgb + 3 * done;
    const std::size_t count = std::min(width - done, kMostAtOnce);
    if (ask) {
      unknown += convert_known(part, count, conversion);
    } else {
      std::uint8_t converted[3 * kMostAtOnce];
      conversion.convert(conversion.context, part, converted, count);
      std::memcpy(part, converted, 3 * count);
    }
  }
  if (ask) {
    judge(width, unknown, conversion.is_expensive);
  } else if (resting_rows_ > 0) {
    --resting_rows_;
  }
}

// Answers from memory what it can, converts the rest in one call and remembers it.
//
// Known and unknown colors come in no order that a processor could guess, so the loop has no
// branch: every pixel is noted as unknown, in a place that the next one takes if it was not, and
// every pixel gets what its slot holds, be it of another color.
std::size_t ColorCache::convert_known(std::uint8_t* rgb, std::size_t width,
                                      const Conversion& conversion) {
  std::uint32_t colors[kMostAtOnce];
  std::uint32_t places[kMostAtOnce];
  std::size_t unknown = 0;
  for (std::size_t x = 0; x < width; ++x) {
    std::uint8_t* pixel = rgb + 3 * x;
    const std::uint32_t color = color_of(pixel);
    const std::uint32_t entry = entries_[slot_of(color)];
    put_color(pixel, entry);
    colors[unknown] = color;
    places[unknown] = static_cast<std::uint32_t>(x);
    unknown += entry >> 24U != tag_of(color) ? 1 : 0;
  }
  if (unknown == 0) {
    return 0;
  }
  std::uint8_t news[3 * kMostAtOnce];
  std::uint8_t converted[3 * kMostAtOnce + 1];  // read in fours
  for (std::size_t i = 0; i < unknown; ++i) {
    put_color(news + 3 * i, colors[i]);
  }
  conversion.convert(conversion.context, news, converted, unknown);
  for (std::size_t i = 0; i < unknown; ++i) {
    const std::uint32_t color = color_of(converted + 3 * i);
    entries_[slot_of(colors[i])] = tag_of(colors[i]) << 24U | color;
    put_color(rgb + 3 * std::size_t{places[i]}, color);
  }
  return unknown;
}

// At the end of a trial: another one, or a rest.
void ColorCache::judge(std::size_t width, std::size_t unknown, bool is_expensive) {
  if (trial_row_ >= kUncountedRows) {
    asked_ += width;
    unknown_ += unknown;
  }
  if (++trial_row_ < kTrialRows) {
    return;
  }
  const std::size_t bearable = is_expensive ? kBearablePercentExpensive : kBearablePercentCheap;
  if (100 * unknown_ > bearable * asked_) {
    resting_rows_ = next_rest_;
    next_rest_ = std::min(2 * next_rest_, kLongestRest);
  } else {
    next_rest_ = kShortestRest;
  }
  begin_trial();
}
