// Makes the rows of one page from the rows of another, according to two axis maps. Source rows are
// used as they arrive; only as many are kept as one target row needs.
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

// Supplies the rows of the source.
class RowSource {
 public:
  virtual ~RowSource() = default;
  // The next row, from the first to the last; valid until the next call. Null if there is none.
  [[nodiscard]] virtual const std::uint8_t* next_row() = 0;
};

class RowScaler {
 public:
  // `columns` and `rows` must outlive the scaler. The source rows in `rows` must ascend.
  RowScaler(const AxisMap& columns, const AxisMap& rows, const RowFormat& format);

  // Writes the columns.size() pixels of row y to `out`. Rows must be made in order, starting with
  // row 0, without gaps; a row may be made again. False if the source ends too early.
  [[nodiscard]] bool make_row(std::size_t y, RowSource& source, std::uint8_t* out);

 private:
  // Pixels that are neighbors in the source and on the page; white pixels have no source.
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
  [[nodiscard]] const std::uint8_t* source_row(std::uint32_t row, RowSource& source);
  [[nodiscard]] bool copy_row(std::uint32_t row, RowSource& source, std::uint8_t* out);
  [[nodiscard]] bool mix_rows(const AxisMap::Taps& taps, RowSource& source, std::uint8_t* out);
  [[nodiscard]] Samples& kept(std::uint32_t row) { return kept_[row % kept_.size()]; }

  const AxisMap& columns_;
  const AxisMap& rows_;
  RowFormat format_;
  std::vector<Run> runs_;  // of the columns that are mapped 1:1
  std::uint32_t rows_read_ = 0;
  const std::uint8_t* current_ = nullptr;  // row rows_read_ - 1 of the source
  // Rows that are scaled across, as 16-bit samples: row i is at index i modulo the number of rows.
  std::vector<Samples> kept_;
  std::uint32_t kept_until_ = 0;
  Samples result_;
  std::vector<std::uint32_t> sums_;
};

}  // namespace k905
