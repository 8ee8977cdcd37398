// A page turned by a quarter to the right. The whole page is held in memory, because its first row
// needs all of them.
#pragma once

#include <cstdint>
#include <vector>

#include "apps/adapter/row_scaler.h"

namespace k905 {

class TurnedRows final : public RowSource {
 public:
  // `page` gives `height` rows of `width` pixels and must outlive this.
  TurnedRows(RowSource& page, std::uint32_t width, std::uint32_t height, std::size_t pixel_bytes);

  // A row of `height` pixels, `width` times. Null as well when the page ends too early.
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
  // A few turned rows at a time, so that every line of the page is touched less often.
  std::vector<std::uint8_t> strip_;
  std::size_t strip_begin_ = 0;
  std::size_t strip_end_ = 0;
  std::size_t next_ = 0;
};

}  // namespace k905
