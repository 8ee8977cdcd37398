// Stage 1: selects the format of a page's lines and reads them.
#include <algorithm>
#include <cstring>

#include "diag/log.h"
#include "pipeline/stages.h"

namespace {

// More pixels than any sheet has; a larger page is refused.
constexpr std::uint64_t kMaxPixels = std::uint64_t{1} << 29;

// The formats a page can have. Deliberate: color order and color space of the header are not
// consulted; every format is read as chunky, because that is how the print system delivers it.
struct Format {
  unsigned colors;
  unsigned bits;
};
constexpr Format kRgb8{3, 8};
constexpr Format kRgb16{3, 16};
constexpr Format kGray8{1, 8};
constexpr Format kGray1{1, 1};
constexpr Format kFour8{4, 8};

bool has_format(const cups_page_header2_t& header, Format format) {
  return header.cupsNumColors == format.colors && header.cupsBitsPerColor == format.bits;
}

bool inverts_four_colors(const char* color_model) {
  constexpr const char* kModels[] = {"CMY", "CMYK", "KCMY"};
  return std::any_of(std::begin(kModels), std::end(kModels), [color_model](const char* model) {
    return std::strcmp(color_model, model) == 0;
  });
}

}  // namespace

void ReadStage::choose_format(const cups_page_header2_t& header, const char* color_model) {
  const kernels::Table& table = kernels::chosen_table();
  convert_ = nullptr;
  unsupported_ = false;
  if (has_format(header, kRgb8)) {
    pixel_bytes_ = 3 * width_;
  } else if (has_format(header, kRgb16)) {
    pixel_bytes_ = 6 * width_;
    convert_ = table.rgb16_to_rgb;
  } else if (has_format(header, kGray8)) {
    pixel_bytes_ = width_;
    convert_ = table.gray8_to_rgb;
  } else if (has_format(header, kGray1)) {
    pixel_bytes_ = (width_ + 7) / 8;
    convert_ = table.gray1_to_rgb;
  } else if (has_format(header, kFour8)) {
    pixel_bytes_ = 4 * width_;
    convert_ = inverts_four_colors(color_model) ? table.four_inverted_to_rgb
                                                : table.four_with_black_to_rgb;
  } else {
    pixel_bytes_ = 0;
    unsupported_ = true;
  }
}

bool ReadStage::prepare(const cups_page_header2_t& header, const char* color_model) {
  width_ = header.cupsWidth;
  height_ = header.cupsHeight;
  colors_ = header.cupsNumColors;
  bits_ = header.cupsBitsPerColor;
  line_bytes_ = header.cupsBytesPerLine;
  if (width_ == 0 || height_ == 0) {
    log_line("K905-1: Empty page image: %ux%u", header.cupsWidth, header.cupsHeight);
    return false;
  }
  choose_format(header, color_model);
  const bool line_is_row = has_format(header, kRgb8) && line_bytes_ <= pixel_bytes_;

  // No complete plane is allocated, but a page that is too large is reported as if one were.
  if (std::uint64_t{width_} * height_ <= kMaxPixels) {
    row_[0] = make_row(3 * width_);
    row_[1] = make_row(3 * width_);
  }
  if (row_[0] == nullptr || row_[1] == nullptr) {
    log_line("K905-1: malloc src planes failed");
    return false;
  }
  line_ = line_is_row ? nullptr : make_row(std::max(line_bytes_, pixel_bytes_));
  if (!line_is_row && line_ == nullptr) {
    log_line("K905-1: malloc line buffer failed");
    return false;
  }
  original_.prepare(width_, height_);
  return true;
}

std::uint8_t* ReadStage::next_row(cups_raster_t* raster) {
  std::uint8_t* row = row_[rows_read_ % 2].get();
  std::uint8_t* line = line_ != nullptr ? line_.get() : row;
  if (cupsRasterReadPixels(raster, line, static_cast<unsigned>(line_bytes_)) == 0) {
    log_unreadable();
    return nullptr;
  }
  if (line_bytes_ < pixel_bytes_) {
    std::memset(line + line_bytes_, 0, pixel_bytes_ - line_bytes_);
  }
  if (convert_ != nullptr) {
    convert_(line, row, width_);
  } else if (unsupported_) {
    log_unsupported();
    std::memset(row, 0, 3 * width_);
  } else if (line != row) {
    std::memcpy(row, line, pixel_bytes_);
  }
  original_.take_rgb(row);
  ++rows_read_;
  return row;
}

void ReadStage::report() const { original_.save("01_original"); }

bool ReadStage::report_lines_again() const {
  if (unsupported_) {
    for (std::size_t y = 0; y < rows_read_; ++y) {
      log_unsupported();
    }
  }
  if (rows_read_ < height_) {
    log_unreadable();
    return false;
  }
  return true;
}

void ReadStage::log_unreadable() const {
  log_line("K905-1: cupsRasterReadPixels failed at line %d", static_cast<int>(rows_read_));
}

void ReadStage::log_unsupported() const {
  log_line("K905-1: Unsupported color format: colors=%d, bits=%d", static_cast<int>(colors_),
           static_cast<int>(bits_));
}
