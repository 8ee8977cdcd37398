// The pixels of a raster page on their way to the filter: what it cannot read or would print wrong
// becomes a form that it reads right.
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
  // Nothing when the filter shall get the page as it is: a form that it refuses or that nobody
  // reads (it says so itself), or a header whose numbers contradict each other.
  [[nodiscard]] static std::optional<PagePixels> of(const cups_page_header2_t& header);

  // Of the converted rows.
  [[nodiscard]] const RowFormat& format() const { return format_; }

  // Writes what the converted rows are into the header.
  void describe(cups_page_header2_t& header) const;

  // One raster line of the page's width, converted; valid until the next call, or `line` itself.
  [[nodiscard]] const std::uint8_t* convert(const std::uint8_t* line);

 private:
  enum class Conversion {
    none,
    bits_to_gray,  // a set bit is black
    high_byte,     // 16-bit gray
    inverted,      // 8-bit ink becomes light
    inverted_high_byte,
    over_white,  // red, green, blue and opacity
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
