#include "pipeline/planes.h"

#include <algorithm>
#include <cstring>

#include "pipeline/kernels/kernels.h"

std::optional<std::size_t> checked_product(std::size_t a, std::size_t b) {
  std::size_t product = 0;
  if (__builtin_mul_overflow(a, b, &product)) {
    return std::nullopt;
  }
  return product;
}

Plane make_plane(std::size_t bytes) {
  return Plane(static_cast<std::uint8_t*>(std::malloc(std::max<std::size_t>(bytes, 1))));
}

bool make_planes(PlaneSet& planes, std::size_t width, std::size_t height) {
  const std::optional<std::size_t> bytes = checked_product(width, height);
  for (Plane& plane : planes.plane) {
    plane = bytes ? make_plane(*bytes) : nullptr;
  }
  if (planes.plane[0] && planes.plane[1] && planes.plane[2]) {
    return true;
  }
  planes = {};
  return false;
}

Plane make_row(std::size_t bytes) {
  std::size_t with_slack = 0;
  if (__builtin_add_overflow(bytes, kernels::kRowSlack, &with_slack)) {
    return nullptr;
  }
  Plane row = make_plane(with_slack);
  if (row) {
    std::memset(row.get() + bytes, 0, kernels::kRowSlack);
  }
  return row;
}
