// The stages of the image pipeline, private to this folder.
//
// Lines travel through the stages, one at a time, instead of whole planes: a sheet's planes are
// megabytes whose first touch costs more than all arithmetic. The log, though, tells the story
// stage by stage, and it may not speak of stage 4 while lines are still being read. So every stage
// has
//   prepare   before the first line: its plan and its memory, no log;
//   row       one line; remembers what the log will want to say;
//   report    once the page is through: its banner, lines and pictures. Returns false when the
//   stage
//             fails the page: memory that prepare could not get is told here, in its turn.
// A stage without its memory lets lines drop, so that a raster that breaks off is still noticed
// first.
//
// report changes nothing and may be repeated, for further copies of a page.
#pragma once

#include <cups/raster.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "geometry/page_layout.h"
#include "pipeline/kernels/kernels.h"
#include "pipeline/planes.h"
#include "pipeline/stage_adjust.h"
#include "pipeline/stage_image.h"

struct PrintOptions;

// Stage 1: raster lines to chunky RGB rows.
class ReadStage {
 public:
  // Checks the page's size, works out how its lines are read and gets the memory for that. Logs and
  // returns false when the page cannot be read at all.
  [[nodiscard]] bool prepare(const cups_page_header2_t& header, const char* color_model);

  // Reads the next line. The row and the one before it stay valid until two more are read. Null,
  // logged, when there is none.
  [[nodiscard]] std::uint8_t* next_row(cups_raster_t* raster);

  // Row `y`, one of the two read last.
  [[nodiscard]] std::uint8_t* row(std::size_t y) { return row_[y % 2].get(); }

  [[nodiscard]] std::size_t rows_read() const { return rows_read_; }
  [[nodiscard]] std::size_t width() const { return width_; }
  [[nodiscard]] std::size_t height() const { return height_; }

  // The picture. The banner, and what an unsupported format says of every line, come while reading.
  void report() const;
  void report_lines_again() const;

 private:
  using LineToRow = void (*)(const std::uint8_t* line, std::uint8_t* row, std::size_t width);
  void choose_format(const cups_page_header2_t& header, const char* color_model);
  void log_unsupported() const;

  LineToRow convert_ = nullptr;  // null: a line holds what a row does, or is not supported
  bool unsupported_ = false;
  unsigned colors_ = 0;
  unsigned bits_ = 0;
  std::size_t width_ = 0;
  std::size_t height_ = 0;
  std::size_t line_bytes_ = 0;   // what libcups delivers
  std::size_t pixel_bytes_ = 0;  // what the format needs; missing bytes count as 0
  std::size_t rows_read_ = 0;
  Plane line_;  // not there when the line is the row
  Plane row_[2];
  StageImage original_;
};

// Stage 1.5: to the paper's target size, bilinear, each axis by itself.
class ResizeStage {
 public:
  void prepare(std::size_t source_width, std::size_t source_height, std::size_t target_width,
               std::size_t target_height);

  // False when there is no memory to resize: then no rows come.
  [[nodiscard]] bool ready() const { return ready_; }
  [[nodiscard]] std::size_t width() const { return target_width_; }
  [[nodiscard]] std::size_t height() const { return target_height_; }

  // Row `y` of the target, rows in order, reading as many lines as it takes. Null when a line
  // cannot be read.
  [[nodiscard]] std::uint8_t* row(std::size_t y, ReadStage& read, cups_raster_t* raster);

  [[nodiscard]] bool report() const;

 private:
  [[nodiscard]] bool make_columns();
  [[nodiscard]] bool make_sixteenth_columns();
  void scale_across(std::size_t source_row, ReadStage& read);
  void scale_down(std::size_t low, std::size_t high, double fraction, ReadStage& read);

  std::size_t source_width_ = 0;
  std::size_t source_height_ = 0;
  std::size_t target_width_ = 0;
  std::size_t target_height_ = 0;
  double scale_w_ = 1.0;
  double scale_h_ = 1.0;
  bool needed_ = false;
  bool ready_ = false;
  bool in_sixteenths_ = false;  // all positions are whole sixteenths: exact in integers
  Plane row_;
  Buffer<std::uint32_t> left_;
  Buffer<double> fraction_;
  Buffer<float> rough_;
  kernels::ResizeColumns columns_ = {};
  Buffer<kernels::Sixteenths> share_;
  kernels::SixteenthColumns sixteenth_columns_ = {};
  // The source rows read last, scaled across: either in sixteenths or estimated.
  Buffer<std::uint16_t> sum_[2];
  Buffer<float> estimate_[2];
  std::size_t scaled_[2] = {};  // which rows they are, counted from 1; 0 is none
  StageImage resized_;
};

// Stage 2: what the color model makes of R, G and B.
class ColorModelStage {
 public:
  void prepare(const char* color_model, std::size_t width, std::size_t height);
  void row(std::size_t y, std::uint8_t* rgb);
  void report() const;

 private:
  using InPlace = void (*)(std::uint8_t* row, std::size_t width);

  InPlace convert_ = nullptr;  // null: unchanged
  const char* color_model_ = "";
  std::size_t width_ = 0;
  StageImage converted_;
};

// Stage 3: two rows to one, where an interlaced page does not have its full height.
class DeinterlaceStage {
 public:
  // `expected_height` is the paper's own 600 dpi height.
  void prepare(bool interlaced, std::size_t width, std::size_t height, std::size_t expected_height);

  // The row to go on with: the given one, the mean of a pair, or null after the first of a pair.
  [[nodiscard]] std::uint8_t* row(std::size_t y, std::uint8_t* rgb);

  // Where the row that came out of row `y` stands behind this stage.
  [[nodiscard]] std::size_t output_row(std::size_t y) const {
    return output_height_ == input_height_ ? y : y / 2;
  }

  [[nodiscard]] std::size_t height() const { return output_height_; }
  void report() const;

 private:
  bool interlaced_ = false;
  bool needed_ = false;
  std::size_t width_ = 0;
  std::size_t input_height_ = 0;
  std::size_t expected_height_ = 0;
  std::size_t output_height_ = 0;
  Plane rows_;  // the upper row that waits for its lower one, and behind it their mean
  StageImage deinterlaced_;
};

// Stage 4: left becomes right. The rows stay as they are here; the flip happens where they are
// split into planes (AdjustStage).
class MirrorStage {
 public:
  void prepare(bool wanted, std::size_t width, std::size_t height);
  void row(std::size_t y, const std::uint8_t* rgb);
  void report() const;

 private:
  bool wanted_ = false;
  std::size_t width_ = 0;
  std::size_t height_ = 0;
  StageImage before_;
  StageImage after_;
};

// Stage 8: the image on its white canvas, stretched to what the bleeds leave.
class PlaceStage {
 public:
  // `width` x `height` is the image as it lies on the sheet; `turned` tells by which road it comes.
  void prepare(const PageLayout& layout, std::size_t width, std::size_t height, bool turned);
  [[nodiscard]] bool ready() const { return ready_; }

  // Row `y` of the image, rows in order.
  void row(std::size_t y, const PlaneRow& row);

  // The other road, for an image that comes column by column, each with its lowest pixel first, as
  // the rows of the unturned image are. First every column is stretched to line_length() bytes ...
  [[nodiscard]] std::size_t line_length() const { return rows_; }
  void stretch(const std::uint8_t* column, std::uint8_t* line) const;

  // ... then bands of stretched columns are stood up on the canvas, in order: column `first + i` of
  // plane p is at lines.plane[p] + i * stride.
  void columns(std::size_t first, std::size_t count, const PlaneRow& lines, std::size_t stride);

  [[nodiscard]] bool report() const;
  void report_final() const;  // stage 9: nothing is left to do but to show the canvas

  // The canvas, the caller's from now on.
  [[nodiscard]] PlaneSet take_canvas();

 private:
  [[nodiscard]] bool make_maps(bool turned);
  [[nodiscard]] std::size_t source_row(std::size_t row) const;
  [[nodiscard]] std::uint8_t* canvas_row(std::size_t plane, std::size_t row);
  void fill_outside();
  void fill_beside(std::size_t row);

  PageLayout layout_ = {};
  std::size_t image_width_ = 0;
  std::size_t image_height_ = 0;
  bool stretch_ = false;
  double scale_w_ = 1.0;
  double scale_h_ = 1.0;
  // The effective area, as far as the canvas has room for it.
  std::size_t rows_ = 0;
  std::size_t columns_ = 0;
  std::size_t next_row_ = 0;
  bool has_canvas_ = false;
  bool ready_ = false;
  Buffer<std::uint32_t> map_;  // turned: source column of each column of the effective area
  Buffer<kernels::CopyRun>
      runs_room_;  // what of a row goes where in its line of the canvas (turned: of a column)
  std::span<const kernels::CopyRun> runs_;
  PlaneSet canvas_;
};

// Stage 7: a quarter turn, counter-clockwise. Rows are stretched and collected in bands, which are
// turned onto the canvas: the only place where the road needs more than a row, and it stays within
// the cache.
class RotateStage {
 public:
  // `line_length` is the most that a stretched row can have. False when there is not even memory
  // for one row of the planes.
  [[nodiscard]] bool prepare(bool wanted, std::size_t width, std::size_t height,
                             std::size_t line_length);

  // Size of the image behind this stage.
  [[nodiscard]] std::size_t width() const { return wanted_ ? height_ : width_; }
  [[nodiscard]] std::size_t height() const { return wanted_ ? width_ : height_; }
  [[nodiscard]] bool ready() const { return ready_; }

  // Where the plane rows of a row are to be written.
  [[nodiscard]] PlaneRow target();

  // Row `y` stands in target(): on to the canvas, unless there was no memory to turn it.
  void row_done(std::size_t y, PlaceStage& place);

  [[nodiscard]] bool report() const;

 private:
  static constexpr std::size_t kBandRows = 64;
  void take_picture(std::size_t y);
  [[nodiscard]] std::uint8_t* band_row(std::size_t plane, std::size_t row);

  bool wanted_ = false;
  bool ready_ = false;
  std::size_t width_ = 0;
  std::size_t height_ = 0;
  std::size_t line_stride_ = 0;
  Plane row_;   // one row of each plane
  Plane band_;  // stretched rows of each plane
  PlaneSet picture_;
};

// All stages of one page, in their order.
struct PageStages {
  PageLayout layout = {};
  ReadStage read;
  ResizeStage resize;
  ColorModelStage color_model;
  DeinterlaceStage deinterlace;
  MirrorStage mirror;
  AdjustStage adjust;
  RotateStage turn;
  PlaceStage place;

  // Whether, once prepared, nothing but a line that cannot be read can fail the page any more.
  [[nodiscard]] bool complete() const { return resize.ready() && turn.ready() && place.ready(); }
};
