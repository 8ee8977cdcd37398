// What is logged about the color conversion of a page: pixels before and after, and whether
// anything changed. It is logged after the page, so some pixels are stored as the rows pass.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pipeline/icc_transform.h"
#include "pipeline/planes.h"

struct PrintOptions;

class IccReport {
 public:
  // For an image of width x height pixels. False if there is no memory to store pixels: then the
  // page is not converted, and log() reports it.
  [[nodiscard]] bool prepare(std::size_t width, std::size_t height);

  // Each row in order, before and after its conversion.
  void take_before(const PlaneRow& row);
  void take_after(const PlaneRow& row);

  // `icc` is the transform that the page was, or could not be, converted with.
  void log(const PrintOptions& options, const IccTransform& icc) const;

 private:
  void log_start(const PrintOptions& options) const;
  [[nodiscard]] bool log_transform(const IccTransform& icc) const;
  void log_bulk_conversion(const IccTransform& icc) const;
  void log_change() const;

  std::size_t width_ = 0;
  std::size_t height_ = 0;
  std::size_t center_row_ = 0;
  std::size_t center_column_ = 0;
  std::size_t row_ = 0;
  Rgb first_before_ = {};
  Rgb first_after_ = {};
  Rgb center_before_ = {};
  Rgb center_after_ = {};
  Buffer<Rgb> samples_;  // every 1000th pixel after the conversion
  std::size_t samples_taken_ = 0;
};
