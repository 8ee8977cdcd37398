#include "pipeline/colour_memory.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t kEntries = std::size_t{1} << 17;

// A trial of kTrialRows rows decides whether the next ones are worth asking for. Its first row does
// not count after a rest: what the memory knows is then from elsewhere in the picture.
constexpr int kTrialRows = 8;
constexpr int kRestingRows = 56;

std::uint32_t colour_of(const std::uint8_t* rgb) {
  return std::uint32_t{rgb[0]} | std::uint32_t{rgb[1]} << 8 | std::uint32_t{rgb[2]} << 16;
}

// No colour has the key of an empty entry.
std::uint32_t key_of(std::uint32_t colour) { return colour | 1u << 24; }

std::size_t slot_of(std::uint32_t colour) { return (colour * 2654435761u) >> 15; }

}  // namespace

void ColourMemory::reset() {
  if (entries_ != nullptr) {
    std::memset(entries_.get(), 0, kEntries * sizeof(Entry));
  } else {
    entries_.reset(static_cast<Entry*>(std::calloc(kEntries, sizeof(Entry))));
  }
  trial_rows_ = kTrialRows;
  resting_rows_ = 0;
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
    judge(width, unknown);
  } else if (resting_rows_ > 0) {
    --resting_rows_;
  }
}

// Answers from memory what it can, converts the rest in one call and remembers it.
std::size_t ColourMemory::convert_known(std::uint8_t* rgb, std::size_t width,
                                        const Conversion& conversion) {
  std::uint8_t colours[3 * kMostAtOnce];
  std::uint8_t converted[3 * kMostAtOnce];
  std::uint32_t places[kMostAtOnce];
  std::size_t unknown = 0;
  for (std::size_t x = 0; x < width; ++x) {
    std::uint8_t* pixel = rgb + 3 * x;
    const std::uint32_t colour = colour_of(pixel);
    const Entry& entry = entries_[slot_of(colour)];
    if (entry.key == key_of(colour)) {
      std::memcpy(pixel, entry.rgb, 3);
    } else {
      std::memcpy(colours + 3 * unknown, pixel, 3);
      places[unknown++] = static_cast<std::uint32_t>(x);
    }
  }
  if (unknown == 0) {
    return 0;
  }
  conversion.convert(conversion.context, colours, converted, unknown);
  for (std::size_t i = 0; i < unknown; ++i) {
    const std::uint32_t colour = colour_of(colours + 3 * i);
    Entry& entry = entries_[slot_of(colour)];
    entry.key = key_of(colour);
    std::memcpy(entry.rgb, converted + 3 * i, 3);
    std::memcpy(rgb + 3 * std::size_t{places[i]}, converted + 3 * i, 3);
  }
  return unknown;
}

// At the end of a trial: another one, or a rest when more than half of the colours were news.
void ColourMemory::judge(std::size_t width, std::size_t unknown) {
  if (trial_rows_ < kTrialRows) {
    asked_ += width;
    unknown_ += unknown;
  }
  if (--trial_rows_ > 0) {
    return;
  }
  if (2 * unknown_ > asked_) {
    resting_rows_ = kRestingRows;
  }
  trial_rows_ = kTrialRows;
  asked_ = 0;
  unknown_ = 0;
}
