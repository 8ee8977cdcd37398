// Remembers what colours became, for a conversion that is dear and depends on the colour alone.
//
// A photograph meets the same colours again and again; noise does not. So the memory watches how
// often it knows the answer and steps aside where asking it would cost more than it saves. It
// changes how often the conversion runs, never what comes out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "pipeline/plane_set.h"

class ColourMemory {
 public:
  // The most colours a Conversion is asked for at once.
  static constexpr std::size_t kMostAtOnce = 512;

  // Converts `count` RGB triples from `in` to `out`, which do not overlap.
  struct Conversion {
    void (*convert)(const void* context, const std::uint8_t* in, std::uint8_t* out,
                    std::size_t count);
    const void* context;
    bool is_dear;  // many times the price of a look into memory (tables), or about twice (a matrix)
  };

  // Forgets everything, for a new conversion. Takes its memory (512 KiB) at the first call; when
  // that cannot be had, every colour is converted.
  void reset();

  // Asks anew whether asking pays: another page is another picture. Forgets no colour.
  void begin_page();

  // Converts `width` RGB triples in place; the byte behind them must be readable. All calls between
  // two resets come with the same conversion.
  void convert_row(std::uint8_t* rgb, std::size_t width, const Conversion& conversion);

 private:
  std::size_t convert_known(std::uint8_t* rgb, std::size_t width, const Conversion& conversion);
  void begin_trial();
  void judge(std::size_t width, std::size_t unknown, bool is_dear);

  // Per slot a colour that was converted: what it became, and above that which one it was.
  std::unique_ptr<std::uint32_t[], FreeDeleter> entries_;
  int trial_row_ = 0;        // rows of the present trial so far
  std::size_t asked_ = 0;    // colours that count in it
  std::size_t unknown_ = 0;  // those of them that had to be converted
  int resting_rows_ = 0;     // rows still to be converted without asking
  int next_rest_ = 0;
};
