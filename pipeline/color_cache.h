// A cache of converted colors, for a conversion that is expensive and depends on the color alone.
//
// A photograph has the same colors again and again; noise does not. The cache counts its misses and
// stops asking for a while where that costs more than it saves. It changes how often the conversion
// runs, never its result.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pipeline/planes.h"

class ColorCache {
 public:
  // The most colors that a Conversion is called with.
  static constexpr std::size_t kMostAtOnce = 512;

  // Converts `count` RGB triples from `in` to `out`, which do not overlap.
  struct Conversion {
    void (*convert)(const void* context, const std::uint8_t* in, std::uint8_t* out,
                    std::size_t count);
    const void* context;
    bool is_expensive;  // many times the cost of a lookup (tables), or about twice (a matrix)
  };

  // Empties the cache, for a new conversion. Allocates its memory (512 KiB) at the first call;
  // without memory every color is converted.
  void reset();

  // Resets the count of misses, because the next page is another image. Keeps the colors.
  void begin_page();

  // Converts three plane rows of `width` bytes in place. All calls between two resets come with the
  // same conversion.
  void convert_row(const PlaneRow& row, std::size_t width, const Conversion& conversion);

 private:
  static void convert_all(const std::uint32_t* colors, std::size_t count,
                          const Conversion& conversion, const PlaneRow& row);
  std::size_t convert_unknown(std::uint32_t* colors, std::size_t count,
                              const Conversion& conversion);
  void begin_trial();
  void judge(std::size_t width, std::size_t unknown, bool is_expensive);

  // Per slot a color that was converted: its result, and above that which one it was.
  Buffer<std::uint32_t> entries_;
  int trial_row_ = 0;        // rows of the present trial so far
  std::size_t asked_ = 0;    // colors that count in it
  std::size_t unknown_ = 0;  // those of them that had to be converted
  int paused_rows_ = 0;      // rows still to be converted without asking
  int next_pause_ = 0;
};
