// A cache of converted colors, for a conversion that is expensive and depends on the color alone.
//
// A photograph repeats its colors; noise does not. The cache counts its misses in trials of a few
// rows, and pauses after a trial whose lookups cost more than they saved. It changes how often the
// conversion runs, never its result.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pipeline/planes.h"

class ColorCache {
 public:
  // A Conversion is called with at most this many colors.
  static constexpr std::size_t kMaxColors = 512;

  // Converts `count` RGB triples from `in` to `out`, which do not overlap.
  struct Conversion {
    void (*convert)(const void* context, const std::uint8_t* in, std::uint8_t* out,
                    std::size_t count);
    const void* context;
    bool is_expensive;  // true: many times the cost of a lookup (tables); false: about twice (a
                        // matrix)
  };

  // Empties the cache, for a new conversion. Allocates its memory (512 KiB) at the first call;
  // without memory every color is converted.
  void reset();

  // Resets the count of misses, because the next page is another image. Keeps the colors.
  void begin_page();

  // Converts three plane rows of `width` bytes in place. All calls between two resets must use the
  // same conversion.
  void convert_row(const PlaneRow& row, std::size_t width, const Conversion& conversion);

 private:
  static void convert_all(const std::uint32_t* colors, std::size_t count,
                          const Conversion& conversion, const PlaneRow& row);
  std::size_t convert_misses(std::uint32_t* colors, std::size_t count,
                             const Conversion& conversion);
  void begin_trial();
  void end_row(std::size_t width, std::size_t misses, bool is_expensive);

  // One entry per slot: the result for a color, and in the upper byte a tag that identifies the
  // color.
  Buffer<std::uint32_t> entries_;
  int trial_row_ = 0;        // rows of the current trial so far
  std::size_t lookups_ = 0;  // in the counted rows of the trial
  std::size_t misses_ = 0;   // of these lookups
  int paused_rows_ = 0;      // rows still to be converted without the cache
  int next_pause_ = 0;
};
