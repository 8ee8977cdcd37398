// The rows of one page made from the rows of another, as two axis maps say. Source rows are used as
// they come: only as many are kept as the filter's height needs.
#pragma once

#include <cstdint>
#include <vector>

#include "apps/adapter/axis_map.h"

namespace k905 {

// Samples of a pixel side by side, no padding. 16-bit samples are in the machine's byte order.
struct RowFormat {
  std::size_t channels = 3;
  std::size_t sample_bytes = 1;  // or 2
  std::uint8_t white = 0xFF;     // every byte of a white pixel

  [[nodiscard]] std::size_t pixel_bytes() const { return channels * sample_bytes; }
};

// Gives the rows of the source.
class RowSource {
 public:
  virtual ~RowSource() = default;
  // The next row, from the first to the last; valid until the next call. Null when there is none.
  [[nodiscard]] virtual const std::uint8_t* next_row() = 0;
};

class RowScaler {
 public:
  // `columns` and `rows` must outlive the scaler. The source rows that `rows` names must ascend.
  RowScaler(const AxisMap& columns, const AxisMap& rows, const RowFormat& format);

  // Row y of the page, from row 0 on, each one once or more often, into columns.size() pixels.
  // False when the source ends too early.
  [[nodiscard]] bool make_row(std::size_t y, RowSource& source, std::uint8_t* out);

  // Source rows taken so far.
  [[nodiscard]] std::uint32_t rows_taken() const { return taken_; }

 private:
  // Pixels that are neighbors in the source and on the page; white ones have no source.
  struct Run {
    std::size_t target = 0;
    std::size_t source = 0;
    std::size_t count = 0;
    bool white = false;
  };
  using Samples = std::vector<std::uint16_t>;

  void find_runs();
  void copy_runs(const std::uint8_t* row, std::uint8_t* out) const;
  void widen(const std::uint8_t* row, Samples& wide) const;
  void scale_columns(const std::uint8_t* row, Samples& out);
  void store(const Samples& wide, std::uint8_t* out) const;
  [[nodiscard]] const std::uint8_t* take(std::uint32_t row, RowSource& source);
  [[nodiscard]] bool copy_row(std::uint32_t row, RowSource& source, std::uint8_t* out);
  [[nodiscard]] bool mix_rows(const AxisMap::Taps& taps, RowSource& source, std::uint8_t* out);
  [[nodiscard]] Samples& kept(std::uint32_t row) { return kept_[row % kept_.size()]; }

  const AxisMap& columns_;
  const AxisMap& rows_;
  RowFormat format_;
  std::vector<Run> runs_;  // of exact columns
  std::uint32_t taken_ = 0;
  const std::uint8_t* current_ = nullptr;  // row taken_ - 1 of the source
  // Rows that are scaled across, as 16-bit samples: row i is at index i modulo the number of rows.
  std::vector<Samples> kept_;
  std::uint32_t kept_until_ = 0;
  Samples result_;
  std::vector<std::uint32_t> sums_;
};

}  // namespace k905
