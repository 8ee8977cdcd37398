#include "pipeline/colour_memory.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace {

constexpr std::size_t kEntries = std::size_t{1} << 17;

// Asking goes on from trial to trial. A trial's first rows do not count: after a rest, what the
// memory knows is from elsewhere in the picture.
constexpr int kTrialRows = 16;
constexpr int kUncountedRows = 8;

// A rest follows when more colours than this share were unknown, found by measurement. Each rest is
// twice as long as the one before, until a trial goes well.
constexpr std::size_t kBearablePercentDear = 70;
constexpr std::size_t kBearablePercentCheap = 25;
constexpr int kShortestRest = 48;
constexpr int kLongestRest = 768;

// A colour as one number: its three bytes as they lie in memory and a fourth that is 0, so that it
// takes one load and one store on any processor. Reads one byte behind the triple.
constexpr auto kColourBits =
    std::bit_cast<std::uint32_t>(std::array<std::uint8_t, 4>{255, 255, 255, 0});
constexpr auto kInUse = std::bit_cast<std::uint32_t>(std::array<std::uint8_t, 4>{0, 0, 0, 1});

std::uint32_t colour_of(const std::uint8_t* rgb) {
  std::uint32_t four_bytes = 0;
  std::memcpy(&four_bytes, rgb, 4);
  return four_bytes & kColourBits;
}

void put_colour(std::uint8_t* rgb, std::uint32_t colour) { std::memcpy(rgb, &colour, 3); }

// No colour has the key of an empty entry.
std::uint32_t key_of(std::uint32_t colour) { return colour | kInUse; }

std::size_t slot_of(std::uint32_t colour) { return (colour * 2654435761u) >> 15; }

}  // namespace

void ColourMemory::reset() {
  if (entries_ != nullptr) {
    std::memset(entries_.get(), 0, kEntries * sizeof(Entry));
  } else {
    entries_.reset(static_cast<Entry*>(std::calloc(kEntries, sizeof(Entry))));
  }
  begin_page();
}

void ColourMemory::begin_page() {
  begin_trial();
  resting_rows_ = 0;
  next_rest_ = kShortestRest;
}

void ColourMemory::begin_trial() {
  trial_row_ = 0;
  asked_ = 0;
  unknown_ = 0;
}

void ColourMemory::convert_row(std::uint8_t* rgb, std::size_t width, const Conversion& conversion) {
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
    judge(width, unknown, conversion.is_dear);
  } else if (resting_rows_ > 0) {
    --resting_rows_;
  }
}

// Answers from memory what it can, converts the rest in one call and remembers it.
//
// Known and unknown colours come in no order that a processor could guess, so the loop has no
// branch: every pixel is noted as unknown, in a place that the next one takes if it was not, and
// every pixel gets what its slot holds, be it of another colour.
std::size_t ColourMemory::convert_known(std::uint8_t* rgb, std::size_t width,
                                        const Conversion& conversion) {
  std::uint32_t colours[kMostAtOnce];
  std::uint32_t places[kMostAtOnce];
  std::size_t unknown = 0;
  for (std::size_t x = 0; x < width; ++x) {
    std::uint8_t* pixel = rgb + 3 * x;
    const std::uint32_t colour = colour_of(pixel);
    const Entry entry = entries_[slot_of(colour)];
    put_colour(pixel, entry.colour);
    colours[unknown] = colour;
    places[unknown] = static_cast<std::uint32_t>(x);
    unknown += entry.key != key_of(colour) ? 1 : 0;
  }
  if (unknown == 0) {
    return 0;
  }
  std::uint8_t news[3 * kMostAtOnce];
  std::uint8_t converted[3 * kMostAtOnce + 1];  // read in fours
  for (std::size_t i = 0; i < unknown; ++i) {
    put_colour(news + 3 * i, colours[i]);
  }
  conversion.convert(conversion.context, news, converted, unknown);
  for (std::size_t i = 0; i < unknown; ++i) {
    const std::uint32_t colour = colour_of(converted + 3 * i);
    entries_[slot_of(colours[i])] = {key_of(colours[i]), colour};
    put_colour(rgb + 3 * std::size_t{places[i]}, colour);
  }
  return unknown;
}

// At the end of a trial: another one, or a rest.
void ColourMemory::judge(std::size_t width, std::size_t unknown, bool is_dear) {
  if (trial_row_ >= kUncountedRows) {
    asked_ += width;
    unknown_ += unknown;
  }
  if (++trial_row_ < kTrialRows) {
    return;
  }
  const std::size_t bearable = is_dear ? kBearablePercentDear : kBearablePercentCheap;
  if (100 * unknown_ > bearable * asked_) {
    resting_rows_ = next_rest_;
    next_rest_ = std::min(2 * next_rest_, kLongestRest);
  } else {
    next_rest_ = kShortestRest;
  }
  begin_trial();
}
