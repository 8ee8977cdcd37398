// Converts the pixels of a raster page from formats that the filter cannot read or would print
// incorrectly.
#pragma once

#include <cups/raster.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "apps/adapter/row_scaler.h"

namespace k905 {

class PagePixels {
 public:
  // Nothing if the page cannot be converted and passes through unchanged: the filter reports its
  // format as invalid, or the numbers in the header are inconsistent.
  [[nodiscard]] static std::optional<PagePixels> of(const cups_page_header2_t& header);

  // The format of the converted rows.
  [[nodiscard]] const RowFormat& format() const { return format_; }

  // Sets the format of the converted rows in the header.
  void set_format(cups_page_header2_t& header) const;

  // Converts one raster line of the page's width; the result is valid until the next call, or
  // `line` itself.
  [[nodiscard]] const std::uint8_t* convert(const std::uint8_t* line);

 private:
  enum class Conversion {
    none,
    bits_to_gray,        // a set bit is black
    high_byte,           // 16-bit gray
    inverted,            // 8-bit amounts of ink become brightness
    inverted_high_byte,  // 16-bit amounts of ink
    over_white,          // red, green, blue and opacity
    from_adobe_rgb,
  };
  struct TransformDeleter {
    void operator()(void* transform) const;
  };

  PagePixels(const cups_page_header2_t& header, Conversion conversion, cups_cspace_t space,
             const RowFormat& format);

  std::size_t width_;
  Conversion conversion_;
  cups_cspace_t space_;
  RowFormat format_;
  std::vector<std::uint8_t> row_;
  std::unique_ptr<void, TransformDeleter> to_srgb_;
};

}  // namespace k905
