// One slot per color, by a hash of it: a newer color replaces an older one.
#include "pipeline/color_cache.h"

#include <endian.h>

#include <algorithm>
#include <cstring>

#include "pipeline/kernels/kernels.h"

namespace {

constexpr std::size_t kEntries = std::size_t{1} << 17;

// Rows are processed in trials. The first rows of a trial do not count: after a pause the cache
// holds colors of another part of the image.
constexpr int kTrialRows = 16;
constexpr int kUncountedRows = 8;

// A pause follows a trial in which more than this share of the lookups missed; the shares were
// measured. Each pause is twice as long as the one before, until a trial stays below its share.
constexpr std::size_t kMaxMissPercentExpensive = 70;
constexpr std::size_t kMaxMissPercentCheap = 25;
constexpr int kShortestPause = 48;
constexpr int kLongestPause = 768;

// A color is a number of 24 bits, red lowest.
std::uint32_t load_color(const std::uint8_t* rgb) {  // reads one byte after the triple
  std::uint32_t four_bytes = 0;
  std::memcpy(&four_bytes, rgb, 4);
  return le32toh(four_bytes) & 0xFFFFFFU;
}

// Stores colors as RGB triples, eight per iteration, because a shorter loop spends half of its time
// on counting. Writes one byte after the last triple.
void store_colors(const std::uint32_t* colors, std::size_t count, std::uint8_t* rgb) {
  constexpr std::size_t kAtOnce = 8;
  const auto store = [=](std::size_t i) {
    const std::uint32_t four_bytes = htole32(colors[i]);
    std::memcpy(rgb + 3 * i, &four_bytes, 4);
  };
  std::size_t i = 0;
  for (; i + kAtOnce <= count; i += kAtOnce) {
    for (std::size_t j = 0; j < kAtOnce; ++j) {
      store(i + j);
    }
  }
  for (; i < count; ++i) {
    store(i);
  }
}

void gather_colors(const PlaneRow& row, std::size_t count, std::uint32_t* colors) {
  const auto& [red, green, blue] = row.plane;
  for (std::size_t x = 0; x < count; ++x) {
    colors[x] = red[x] | std::uint32_t{green[x]} << 8U | std::uint32_t{blue[x]} << 16U;
  }
}

void scatter_colors(const std::uint32_t* colors, std::size_t count, const PlaneRow& row) {
  for (unsigned channel = 0; channel < 3; ++channel) {
    std::uint8_t* plane = row.plane[channel];
    for (std::size_t x = 0; x < count; ++x) {
      plane[x] = static_cast<std::uint8_t>(colors[x] >> 8U * channel);
    }
  }
}

// Multiplying by an odd number modulo 2^24 only reorders the colors. So the upper 17 bits of the
// product select a slot and the lower 7 identify the color in that slot: an entry stores no more of
// its key, so it fits 32 bits, and the whole cache fits a small second-level cache.
std::uint32_t reordered(std::uint32_t color) { return color * 0x3779B1U; }

std::size_t slot_of(std::uint32_t color) { return (reordered(color) >> 7U) % kEntries; }

// The upper byte of an entry; never 0, because an empty entry is 0.
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
  paused_rows_ = 0;
  next_pause_ = kShortestPause;
}

void ColorCache::begin_trial() {
  trial_row_ = 0;
  lookups_ = 0;
  misses_ = 0;
}

void ColorCache::convert_row(const PlaneRow& row, std::size_t width, const Conversion& conversion) {
  const bool use_cache = entries_ != nullptr && paused_rows_ == 0;
  std::size_t misses = 0;
  for (std::size_t done = 0; done < width; done += kMaxColors) {
    const PlaneRow part = row.from(done);
    const std::size_t count = std::min(width - done, kMaxColors);
    std::uint32_t colors[kMaxColors];
    gather_colors(part, count, colors);
    if (use_cache) {
      misses += convert_misses(colors, count, conversion);
      scatter_colors(colors, count, part);
    } else {
      convert_all(colors, count, conversion, part);
    }
  }
  if (use_cache) {
    end_row(width, misses, conversion.is_expensive);
  } else if (paused_rows_ > 0) {
    --paused_rows_;
  }
}

void ColorCache::convert_all(const std::uint32_t* colors, std::size_t count,
                             const Conversion& conversion, const PlaneRow& row) {
  std::uint8_t rgb[3 * kMaxColors + 1];
  std::uint8_t converted[3 * kMaxColors + kernels::kRowSlack];
  store_colors(colors, count, rgb);
  conversion.convert(conversion.context, rgb, converted, count);
  kernels::chosen_table().split(converted, row.plane[0], row.plane[1], row.plane[2], count);
}

// Looks up every color, converts the missed ones in one call and adds them to the cache.
//
// A CPU cannot predict which lookups miss, so the loop has no branch: every color is stored in the
// list of missed ones, where the next color overwrites it if it was a hit, and every color is
// replaced by the result in its slot, even if that belongs to another color.
std::size_t ColorCache::convert_misses(std::uint32_t* colors, std::size_t count,
                                       const Conversion& conversion) {
  std::uint32_t missed_colors[kMaxColors];
  std::uint32_t places[kMaxColors];
  std::size_t misses = 0;
  for (std::size_t x = 0; x < count; ++x) {
    const std::uint32_t color = colors[x];
    const std::uint32_t entry = entries_[slot_of(color)];
    colors[x] = entry;
    missed_colors[misses] = color;
    places[misses] = static_cast<std::uint32_t>(x);
    misses += entry >> 24U != tag_of(color) ? 1 : 0;
  }
  if (misses == 0) {
    return 0;
  }
  std::uint8_t rgb[3 * kMaxColors + 1];
  std::uint8_t converted[3 * kMaxColors + 1];
  store_colors(missed_colors, misses, rgb);
  conversion.convert(conversion.context, rgb, converted, misses);
  for (std::size_t i = 0; i < misses; ++i) {
    const std::uint32_t color = load_color(converted + 3 * i);
    entries_[slot_of(missed_colors[i])] = tag_of(missed_colors[i]) << 24U | color;
    colors[places[i]] = color;
  }
  return misses;
}

// Counts the row; at the end of a trial, decides whether a pause follows.
void ColorCache::end_row(std::size_t width, std::size_t misses, bool is_expensive) {
  if (trial_row_ >= kUncountedRows) {
    lookups_ += width;
    misses_ += misses;
  }
  if (++trial_row_ < kTrialRows) {
    return;
  }
  const std::size_t max_percent = is_expensive ? kMaxMissPercentExpensive : kMaxMissPercentCheap;
  if (100 * misses_ > max_percent * lookups_) {
    paused_rows_ = next_pause_;
    next_pause_ = std::min(2 * next_pause_, kLongestPause);
  } else {
    next_pause_ = kShortestPause;
  }
  begin_trial();
}
