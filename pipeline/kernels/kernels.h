// The inner loops of the image pipeline. A kernel works on rows and bytes only: no settings, no
// log, no heap, and no decision per pixel that can be made per page.
//
// Until it is split into planes, a row is chunky RGB, three bytes per pixel, as raster streams
// contain it and Little CMS expects it. Widths are in pixels unless a name says bytes, and may be
// 0.
//
// Reading: every source row has kRowSlack readable bytes after its end (their values do not
// matter), so that a vector load may read past it. Writing: no kernel writes a byte beyond the
// row's own end.
//
// The portable table is the reference: plain loops, always built. A table for a newer CPU
// replaces the kernels that it runs faster and must give the same bytes; all_tables() lets tests,
// benchmarks and fuzzers walk through every one this machine can run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace kernels {

inline constexpr std::size_t kRowSlack = 64;

// Where each output column of a resize is in the source: `fraction` of the way from the pixel that
// begins at byte `left` to the next one, or to itself where it is the last. Arrays of the output's
// width.
struct ResizeColumns {
  const std::uint32_t* left;
  const double* fraction;
  const float* float_fraction;  // `fraction` rounded, for the estimate; 0 where `left` is last
  std::size_t width;
  std::uint32_t last;  // byte at which the source's last pixel begins

  [[nodiscard]] ResizeColumns from(std::size_t x, std::size_t count) const {
    return {left + x, fraction + x, float_fraction + x, count, last};
  }
};

// A source row and its estimated contribution to every output column: blocks of 24 floats, eight
// pixels' R, their G, their B. Pixels after the last complete block are not estimated.
struct ResizeLine {
  static constexpr std::size_t kBlockPixels = 8;
  static constexpr std::size_t kBlockFloats = 24;

  const std::uint8_t* row;
  const float* estimate;
};

// What the two source columns beside an output column contribute to it, in sixteenths. Their sum
// is 16.
struct Sixteenths {
  std::uint8_t left;
  std::uint8_t right;
};

// Where the output columns of a resize are in the source when every one of them is a whole number
// of sixteenths from a pixel, as in an image of twice or half the resolution. The pixel that begins
// at byte `left` and the next one are read; where the next one is beyond the last, its share is 0.
struct SixteenthColumns {
  const std::uint32_t* left;
  const Sixteenths* share;
  std::size_t width;
};

// `length` bytes, at most kMaxLength, are copied from `source + from` to `target + to`. Because of
// the limit, all runs but the last ones can be copied with one fixed size, without a function call.
struct CopyRun {
  static constexpr std::uint32_t kMaxLength = 64;

  std::uint32_t to;
  std::uint32_t from;
  std::uint32_t length;
};

enum class Correction { kNone, kBright, kAccurate, kHue, kDesaturated };

// The legacy gamma and the final store as one rising step function: values from step b up to the
// next step are stored as b.
//
// The upper 16 bits of a float select an entry, for all floats that share them. The entry combines
// the byte that is stored for the lowest of these floats with the distance to the next step, so
// that byte = (entry + lower 16 bits) >> 16. Therefore no two steps may share their upper 16 bits.
struct StepFunction {
  static constexpr float kLowest = 1.0F / 1024.0F;
  static constexpr float kHighest = 255.0F;
  static constexpr std::size_t kEntries =
      std::size_t{18} * 128;  // 18 doublings, 7 bits of each mantissa

  std::uint32_t entry[kEntries];
};

// The steps of the tone chain from the one that mixes the channels of a pixel, in single precision.
struct ToneMix {
  const float* table[3];  // 256 floats per channel: the chain up to the mixing step, per byte;
                          // null: the byte itself
  bool saturate;          // whether there is a saturation step
  float saturation;       // kS in docs/numerics.md
  float balance[3];
  Correction correction;
  bool linear_contrast;
  // Null without legacy gamma. NaN, and what is below the first step, gives 0; but minus infinity
  // gives 255, because powf raises it to plus infinity.
  const StepFunction* legacy;
};

struct Table {
  const char* name;  // "portable", "avx2", ...

  // Raster line to RGB row.
  using LineToRgb = void(const std::uint8_t* line, std::uint8_t* row, std::size_t width);
  LineToRgb* rgb16_to_rgb;  // byte 1 of each sample
  LineToRgb* gray8_to_rgb;  // the byte three times
  LineToRgb* gray1_to_rgb;  // most significant bit first; a set bit gives 0, a clear one 255
  LineToRgb* four_inverted_to_rgb;  // 255 - p; the fourth byte is dropped
  // trunc(((1 - c/255) * 255) * (1 - k/255)) for each of the first three, single precision.
  LineToRgb* four_with_black_to_rgb;

  // Resize: one output row, bilinear in double precision. With fy = `fraction` (0 at `top`, towards
  // 1 at `bottom`) and fx of each column the weights are
  //   w00 = (1 - fy)(1 - fx)   w01 = (1 - fy) fx   w10 = fy (1 - fx)   w11 = fy fx
  // and byte = trunc(s11 w11 + (s10 w10 + (s00 w00 + s01 w01)) + 0.5), summed in that order.
  //
  // Each source row is first estimated by itself, in single precision, for the two or three output
  // rows that it takes part in. Two of them give an estimate of every byte that is off by less than
  // a thousandth; only where that leaves two bytes possible are the pixels computed as above.
  void (*resize_across)(const ResizeColumns& columns, const std::uint8_t* row, float* estimate);
  void (*resize_down)(const ResizeColumns& columns, double fraction, const ResizeLine& top,
                      const ResizeLine& bottom, std::uint8_t* row);

  // The same row when fx of every column and fy are multiples of 1/16: exact in integers. Then all
  // weights are multiples of 1/256, and every product and every sum of the formula above is a
  // multiple of 1/256 below 2^16: a double holds it without rounding, whatever the order. These two
  // compute 256 times the sum as an integer, and then round it:
  //   sum  = 16 s, weighted across        (at most 16 * 255)
  //   byte = (256 s, weighted down, + 128) >> 8        (before the shift at most 256 * 255 + 128)
  // `sum` has three values per pixel, like the row; `bottom_share` is 16 fy, 0 to 15.
  void (*sixteenths_across)(const SixteenthColumns& columns, const std::uint8_t* row,
                            std::uint16_t* sum);
  void (*sixteenths_down)(const std::uint16_t* top, const std::uint16_t* bottom,
                          std::uint16_t bottom_share, std::uint8_t* row, std::size_t width);

  // Color model, in place.
  using InPlace = void(std::uint8_t* row, std::size_t width);
  InPlace* to_gray;   // trunc((R * .299f + G * .587f) + B * .114f) three times
  InPlace* to_black;  // 255 - that
  InPlace* invert;    // 255 - every byte
  InPlace* to_kcmy;   // (G, B, 255 - R)

  // Deinterlace: ((3 * upper + 2 * lower) * 13108) >> 16 for every byte of the row.
  void (*deinterlace)(const std::uint8_t* upper, const std::uint8_t* lower, std::uint8_t* row,
                      std::size_t width);

  // RGB row to plane rows; mirrored puts the last pixel first.
  using Split = void(const std::uint8_t* row, std::uint8_t* plane0, std::uint8_t* plane1,
                     std::uint8_t* plane2, std::size_t width);
  Split* split;
  Split* split_mirrored;

  // Tone, on plane rows in place. `table` has 256 bytes.
  void (*look_up)(std::uint8_t* bytes, const std::uint8_t* table, std::size_t count);
  void (*tone_mix)(const ToneMix& mix, std::uint8_t* plane0, std::uint8_t* plane1,
                   std::uint8_t* plane2, std::size_t width);

  // Rotation by 90 degrees, as a plain transpose of rows at any addresses; `rows` may contain a row
  // several times: target[x * target_stride + i] = rows[i][x] for x < width. Rows have slack; the
  // target is written nowhere else.
  void (*transpose)(std::span<const std::uint8_t* const> rows, std::size_t width,
                    std::uint8_t* target, std::ptrdiff_t target_stride);

  // Nearest neighbor: copies the runs in order. Runs follow one another in the target without gap
  // or overlap and are in ascending order, so a copy may overshoot into the next run's place, never
  // beyond the last run.
  void (*copy_runs)(std::span<const CopyRun> runs, const std::uint8_t* source,
                    std::uint8_t* target);
};

// The best table for this processor; decided once.
[[nodiscard]] const Table& chosen_table();

// Every table this processor can run, the portable one first.
[[nodiscard]] std::span<const Table* const> all_tables();

}  // namespace kernels
