// The stages of the image pipeline, in the order in which a row passes through them. Private to
// this folder.
//
// Rows pass one at a time instead of whole planes: a sheet's planes are megabytes, and touching
// them for the first time costs more than all arithmetic. A stage serves one page. It has
//   prepare  before the first row: receives settings as values, allocates all memory, logs only
//            failures;
//   row      processes one row, in order from the top; no stage depends on another one;
//   report   after the last row: logs the stage and saves its debug images. The log is in the order
//            of the stages, so row() only collects what is logged here. It changes nothing and can
//            be repeated for further copies of the page.
//
// A row is chunky RGB up to the mirror, which splits it, and three plane rows from there on. Every
// row has kernels::kRowSlack readable bytes after its end.
#pragma once

#include <cups/raster.h>

#include <cstddef>
#include <cstdint>

#include "pipeline/canvas.h"
#include "pipeline/icc_report.h"
#include "pipeline/icc_transform.h"
#include "pipeline/kernels/kernels.h"
#include "pipeline/planes.h"
#include "pipeline/run_list.h"
#include "pipeline/stage_image.h"
#include "pipeline/tone_plan.h"

struct PrintOptions;

// Stage 1: raster lines to RGB rows.
class ReadStage {
 public:
  // Checks the page's size and selects the format of its lines. Logs and returns false if the page
  // cannot be read at all or there is no memory.
  [[nodiscard]] bool prepare(const cups_page_header2_t& header, const char* color_model);

  // Reads the next line. The row stays valid until the one after next is read. Null, logged, when
  // the line cannot be read.
  [[nodiscard]] std::uint8_t* next_row(cups_raster_t* raster);

  [[nodiscard]] std::size_t rows_read() const { return rows_read_; }
  [[nodiscard]] std::size_t width() const { return width_; }
  [[nodiscard]] std::size_t height() const { return height_; }

  // Logs the lines of next_row() once more. False if they end with a line that could not be read.
  bool report_lines_again() const;
  void report() const;

 private:
  using LineToRow = void (*)(const std::uint8_t* line, std::uint8_t* row, std::size_t width);
  void choose_format(const cups_page_header2_t& header, const char* color_model);
  void log_unsupported() const;
  void log_unreadable() const;

  LineToRow convert_ = nullptr;  // null: a line has the format of a row, or is not supported
  bool unsupported_ = false;
  unsigned colors_ = 0;
  unsigned bits_ = 0;
  std::size_t width_ = 0;
  std::size_t height_ = 0;
  std::size_t line_bytes_ = 0;   // bytes that libcups returns
  std::size_t pixel_bytes_ = 0;  // bytes of the format; missing bytes count as 0
  std::size_t rows_read_ = 0;
  Plane line_;  // null if lines are read directly into the row
  Plane row_[2];
  StageImage original_;
};

// Stage 1.5: resizes to the paper's target size, bilinear, each axis with its own scale.
class ResizeStage {
 public:
  // False, logged, when there is no memory.
  [[nodiscard]] bool prepare(std::size_t source_width, std::size_t source_height,
                             std::size_t target_width, std::size_t target_height);

  // Takes the next source row, which stays valid until the one after next is taken.
  void take(std::uint8_t* row);

  // The next target row, or null if it needs more rows than were taken so far.
  [[nodiscard]] std::uint8_t* next_row();

  [[nodiscard]] std::size_t width() const { return target_width_; }
  [[nodiscard]] std::size_t height() const { return target_height_; }
  void report() const;

 private:
  // Where a row or column of the target is in the source: between `low` and `high`, `fraction` of
  // the way.
  struct Position {
    std::size_t low;
    std::size_t high;
    double fraction;
  };
  [[nodiscard]] static Position position(std::size_t i, double scale, std::size_t source_size);
  [[nodiscard]] bool is_in_sixteenths() const;
  [[nodiscard]] bool make_columns();
  [[nodiscard]] bool make_sixteenth_columns();
  void scale_across(std::size_t source_row);
  void scale_down(std::size_t low, std::size_t high, double fraction);

  std::size_t source_width_ = 0;
  std::size_t source_height_ = 0;
  std::size_t target_width_ = 0;
  std::size_t target_height_ = 0;
  double scale_w_ = 1.0;
  double scale_h_ = 1.0;
  bool is_needed_ = false;
  bool in_sixteenths_ = false;  // all positions are multiples of 1/16: exact in integers
  std::size_t rows_taken_ = 0;
  std::size_t rows_returned_ = 0;
  std::uint8_t* source_[2] = {};  // the rows taken last, by their number modulo 2
  Plane row_;
  Buffer<std::uint32_t> left_;
  Buffer<double> fraction_;
  Buffer<float> float_fraction_;
  kernels::ResizeColumns columns_ = {};
  Buffer<kernels::Sixteenths> share_;
  kernels::SixteenthColumns sixteenth_columns_ = {};
  // The source rows taken last, scaled across: either in sixteenths or estimated.
  Buffer<std::uint16_t> sum_[2];
  Buffer<float> estimate_[2];
  std::size_t scaled_[2] = {};  // which rows they are, counted from 1; 0 is none
  StageImage resized_;
};

// Stage 2: applies the color model to R, G and B.
class ColorModelStage {
 public:
  void prepare(const char* color_model, std::size_t width, std::size_t height);
  void row(std::uint8_t* rgb);  // in place
  void report(const char* color_model) const;

 private:
  using InPlace = void (*)(std::uint8_t* row, std::size_t width);

  InPlace convert_ = nullptr;  // null: unchanged
  std::size_t width_ = 0;
  StageImage converted_;
};

// Stage 3: merges two rows into one if an interlaced page does not have its full height.
class DeinterlaceStage {
 public:
  // `expected_height` is the paper's own 600 dpi height. Without memory the page stays unchanged.
  void prepare(bool interlaced, std::size_t width, std::size_t height, std::size_t expected_height);

  // The row for the next stage: the given one, the mean of a pair, or null after the first of a
  // pair.
  [[nodiscard]] const std::uint8_t* row(const std::uint8_t* rgb);

  [[nodiscard]] std::size_t height() const { return output_height_; }
  void report() const;

 private:
  bool interlaced_ = false;
  bool is_needed_ = false;
  std::size_t width_ = 0;
  std::size_t input_height_ = 0;
  std::size_t expected_height_ = 0;
  std::size_t output_height_ = 0;
  std::size_t rows_taken_ = 0;
  Plane rows_;  // the upper row of a pair, followed by the mean of the pair
  StageImage deinterlaced_;
};

// Stage 4: splits a row into planes, and mirrors it in the same pass if the page is mirrored.
class MirrorStage {
 public:
  void prepare(bool mirrored, std::size_t width, std::size_t height);
  void row(const std::uint8_t* rgb, const PlaneRow& row);
  void report() const;

 private:
  kernels::Table::Split* split_ = nullptr;
  bool mirrored_ = false;
  std::size_t width_ = 0;
  std::size_t height_ = 0;
  StageImage before_;
  StageImage after_;
};

// Stage 5: the optional ICC conversion, then the tone chain.
class AdjustStage {
 public:
  // `icc` is the job's transform; it must outlive the rows.
  void prepare(const PrintOptions& options, std::size_t width, std::size_t height,
               IccTransform& icc);
  void row(const PlaneRow& row);  // in place
  void report(const PrintOptions& options) const;

 private:
  void convert_colors(const PlaneRow& row);

  std::size_t width_ = 0;
  bool is_first_row_ = true;
  Rgb first_before_ = {};
  Rgb first_after_ = {};
  IccTransform* icc_ = nullptr;  // null: not enabled
  bool converts_ = false;
  IccReport icc_report_;
  TonePlan tone_;
  StageImage before_;     // 05a_before_adjustments and adjust_before are the same pixels
  StageImage after_icc_;  // adjust_after_icc
  StageImage after_;      // adjust_after and 05b_after_adjustments
};

// Stage 8 of an upright page: copies rows to the canvas rows that show them.
class PlaceStage {
 public:
  // `canvas` is prepared for the image. False, logged, when there is no memory.
  [[nodiscard]] bool prepare(const Canvas& canvas);
  void row(const PlaneRow& row, Canvas& canvas);

 private:
  RunList runs_;
  std::size_t image_row_ = 0;
  std::size_t next_row_ = 0;  // of the area
};

// Stages 7 and 8 of a rotated page: rotates it by 90 degrees counterclockwise onto the canvas.
class RotateStage {
 public:
  // Rows are `width` pixels and there are `height` of them; `canvas` is prepared for an image of
  // height x width. False, logged, when there is no memory.
  [[nodiscard]] bool prepare(Canvas& canvas, std::size_t width, std::size_t height);
  void row(const PlaneRow& row, Canvas& canvas);
  void report() const;  // also for an upright page, whose rows skip this stage

 private:
  static constexpr std::size_t kBandRows = 64;
  [[nodiscard]] std::uint8_t* band_line(std::size_t plane, std::size_t line);
  void transpose_band(Canvas& canvas);

  std::size_t height_ = 0;
  std::size_t line_stride_ = 0;
  RunList runs_;
  Buffer<std::uint32_t> column_map_;  // image column of each column of the area
  Plane band_;                        // stretched rows of each plane
  std::size_t first_ = 0;             // the row in the band's first line
  std::size_t lines_ = 0;             // used in the band
  StageImage image_;
};
