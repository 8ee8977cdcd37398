// A page rotated by 90 degrees clockwise. The complete page is in memory, because its first output
// row needs all input rows.
#pragma once

#include <cstdint>
#include <vector>

#include "apps/adapter/row_scaler.h"

namespace k905 {

class RotatedRows final : public RowSource {
 public:
  // `page` supplies `height` rows of `width` pixels and must outlive this object.
  RotatedRows(RowSource& page, std::uint32_t width, std::uint32_t height, std::size_t pixel_bytes);

  // The next of `width` rows with `height` pixels each. Null at the end, and if the page is
  // truncated.
  [[nodiscard]] const std::uint8_t* next_row() override;

 private:
  [[nodiscard]] bool read_page();
  void make_strip();
  template <std::size_t pixel_bytes>
  void copy_strip();

  RowSource& page_;
  std::size_t width_;
  std::size_t height_;
  std::size_t pixel_bytes_;
  bool read_ = false;
  std::vector<std::uint8_t> pixels_;
  // A few rotated rows at a time, so that every input row is accessed less often.
  std::vector<std::uint8_t> strip_;
  std::size_t strip_begin_ = 0;
  std::size_t strip_end_ = 0;
  std::size_t next_ = 0;
};

}  // namespace k905
