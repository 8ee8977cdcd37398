// Which source pixels make up each pixel of a page, along one side. The two sides are independent,
// so a page is described by two of these maps: one for its columns, one for its rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace k905 {

// A run of target pixels, from `begin` up to, but not including, `end`. The center of target pixel
// i is at `start + (i - begin) * step` in the source, where source pixel k covers k to k + 1.
struct AxisPiece {
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
  double start = 0;
};

struct Axis {
  std::uint32_t source = 0;  // pixels, at least 1
  std::uint32_t target = 0;
  double step = 1;  // source pixels for each target pixel, above 0
  std::vector<AxisPiece> pieces = {};
  // Whether the last source pixel is repeated after this end of the source; otherwise the page is
  // white there.
  bool repeats_first = false;
  bool repeats_last = false;
};

class AxisMap {
 public:
  // The source pixels of one target pixel: `weights` belong to `first` and the pixels after it.
  // Their sum is at most kWhole; the difference is the weight of white.
  struct Taps {
    std::uint32_t first = 0;
    std::span<const std::uint32_t> weights;
  };
  static constexpr std::uint32_t kWhole = 65536;

  // If the scale is 1 (within half a pixel over the complete length), every target pixel is one
  // source pixel. Otherwise the source pixels are weighted by a triangle as wide as the larger of
  // the two pixel grids, so that shrinking skips no pixel. Target pixels outside all pieces are
  // white.
  explicit AxisMap(const Axis& axis);

  // The same map with target pixel i replaced by target pixel `order[i]`.
  [[nodiscard]] AxisMap selected(std::span<const std::uint32_t> order) const;

  // The map with source and target reversed end to end.
  [[nodiscard]] AxisMap reversed() const;

  [[nodiscard]] std::size_t size() const { return entries_.size(); }
  // Whether every target pixel is exactly one source pixel or white.
  [[nodiscard]] bool is_exact() const { return exact_; }
  [[nodiscard]] Taps taps(std::size_t i) const {
    const Entry& entry = entries_[i];
    return {entry.first, {weights_.data() + entry.weights, entry.count}};
  }
  // Whether target pixels i and j have the same source pixels.
  [[nodiscard]] bool is_same(std::size_t i, std::size_t j) const {
    return entries_[i].weights == entries_[j].weights && entries_[i].first == entries_[j].first &&
           entries_[i].count == entries_[j].count;
  }

 private:
  struct Entry {
    std::uint32_t first = 0;
    std::uint32_t count = 0;  // 0: white
    std::size_t weights = 0;  // index into weights_
  };
  [[nodiscard]] Entry single(const Axis& axis, double position);
  [[nodiscard]] Entry weighted(const Axis& axis, double center);

  std::uint32_t source_;
  std::vector<Entry> entries_;
  std::vector<std::uint32_t> weights_;
  bool exact_;
};

}  // namespace k905
