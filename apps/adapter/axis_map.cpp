#include "apps/adapter/axis_map.h"

#include <algorithm>
#include <cmath>

namespace k905 {

namespace {

// Positions are sums of a few products; their rounding errors are far below this.
constexpr double kRounding = 1e-6;

std::uint32_t max_piece_length(const Axis& axis) {
  std::uint32_t max_length = 1;
  for (const AxisPiece& piece : axis.pieces) {
    max_length = std::max(max_length, piece.end - piece.begin);
  }
  return max_length;
}

// The source pixel for a position that may be outside the source; -1 for white.
std::int64_t pixel_at(const Axis& axis, double position) {
  const double last = static_cast<double>(axis.source) - 1;
  if (position < 0) return axis.repeats_first ? 0 : -1;
  if (position > last) return axis.repeats_last ? static_cast<std::int64_t>(last) : -1;
  return static_cast<std::int64_t>(position);
}

}  // namespace

AxisMap::AxisMap(const Axis& axis)
    : source_(axis.source),
      entries_(axis.target),
      weights_{kWhole},
      exact_(std::fabs(axis.step - 1) * max_piece_length(axis) < 0.5) {
  for (const AxisPiece& piece : axis.pieces) {
    const double first = std::floor(piece.start - 0.5 + kRounding);
    for (std::uint32_t i = piece.begin; i < piece.end; ++i) {
      const double offset = i - piece.begin;
      entries_[i] =
          exact_ ? single(axis, first + offset) : weighted(axis, piece.start + offset * axis.step);
    }
  }
}

AxisMap::Entry AxisMap::single(const Axis& axis, double position) {
  const std::int64_t pixel = pixel_at(axis, position);
  if (pixel < 0) return {};
  return {.first = static_cast<std::uint32_t>(pixel), .count = 1, .weights = 0};
}

AxisMap::Entry AxisMap::weighted(const Axis& axis, double center) {
  const double radius = std::max(1.0, axis.step);
  const double middle = center - 0.5;
  const double from = std::ceil(middle - radius);
  const double to = std::floor(middle + radius);
  const double last = static_cast<double>(axis.source) - 1;
  // Far outside the source all taps have one color; returning here keeps the casts below within the
  // range of their types.
  if (to < 0 || from > last) return single(axis, to < 0 ? -1.0 : last + 1);

  const auto begin = static_cast<std::uint32_t>(std::max(from, 0.0));
  const auto end = static_cast<std::uint32_t>(std::min(to, last)) + 1;
  std::vector<double> heights(end - begin);
  double sum = 0;
  const auto steps = static_cast<std::uint32_t>(to - from);
  for (std::uint32_t step = 0; step <= steps; ++step) {
    const double position = from + step;
    const double height = std::max(0.0, 1 - std::fabs(position - middle) / radius);
    sum += height;
    const std::int64_t pixel = pixel_at(axis, position);
    if (pixel >= 0) heights[static_cast<std::size_t>(pixel) - begin] += height;
  }
  const Entry entry{.first = begin, .count = end - begin, .weights = weights_.size()};
  double inside = 0;
  std::uint32_t given = 0;
  for (const double height : heights) {
    inside += height;
    weights_.push_back(static_cast<std::uint32_t>(height / sum * kWhole));
    given += weights_.back();
  }
  // Gives the rounding remainder to the pixel with the largest weight.
  const auto whole = static_cast<std::uint32_t>(std::lround(inside / sum * kWhole));
  const auto own = weights_.begin() + static_cast<std::ptrdiff_t>(entry.weights);
  *std::max_element(own, weights_.end()) += whole - std::min(whole, given);
  return entry;
}

AxisMap AxisMap::selected(std::span<const std::uint32_t> order) const {
  AxisMap map = *this;
  map.entries_.clear();
  map.entries_.reserve(order.size());
  for (const std::uint32_t i : order) map.entries_.push_back(entries_[i]);
  return map;
}

AxisMap AxisMap::reversed() const {
  AxisMap map = *this;
  std::reverse(map.entries_.begin(), map.entries_.end());
  std::reverse(map.weights_.begin(), map.weights_.end());
  for (Entry& entry : map.entries_) {
    if (entry.count == 0) continue;
    entry.first = source_ - entry.first - entry.count;
    entry.weights = weights_.size() - entry.weights - entry.count;
  }
  return map;
}

}  // namespace k905
