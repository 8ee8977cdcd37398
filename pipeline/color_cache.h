// Remembers what colors became, for a conversion that is expensive and depends on the color alone.
//
// A photograph meets the same colors again and again; noise does not. So the memory watches how
// often it knows the answer and steps aside where asking it would cost more than it saves. It
// changes how often the conversion runs, never what comes out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "pipeline/planes.h"

class ColorCache {
 public:
  // The most colors a Conversion is asked for at once.
  static constexpr std::size_t kMostAtOnce = 512;

  // Converts `count` RGB triples from `in` to `out`, which do not overlap.
  struct Conversion {
    void (*convert)(const void* context, const std::uint8_t* in, std::uint8_t* out,
                    std::size_t count);
    const void* context;
    bool is_expensive;  // many times the price of a look into memory (tables), or about twice (a
                        // matrix)
  };

  // Forgets everything, for a new conversion. Takes its memory (512 KiB) at the first call; when
  // that cannot be had, every color is converted.
  void reset();

  // Asks anew whether asking pays: another page is another picture. Forgets no color.
  void begin_page();

  // Converts `width` RGB triples in place; the byte behind them must be readable. All calls between
  // two resets come with the same conversion.
  void convert_row(std::uint8_t* rgb, std::size_t width, const Conversion& conversion);

 private:
  std::size_t convert_known(std::uint8_t* rgb, std::size_t width, const Conversion& conversion);
  void begin_trial();
  void judge(std::size_t width, std::size_t unknown, bool is_expensive);

  // Per slot a color that was converted: what it became, and above that which one it was.
  Buffer<std::uint32_t> entries_;
  int trial_row_ = 0;        // rows of the present trial so far
  std::size_t asked_ = 0;    // colors that count in it
  std::size_t unknown_ = 0;  // those of them that had to be converted
  int resting_rows_ = 0;     // rows still to be converted without asking
  int next_rest_ = 0;
};
