// Planes and rows from malloc, with their sizes checked.
#include "pipeline/planes.h"

#include <cstring>

#include "pipeline/kernels/kernels.h"

bool make_planes(PlaneSet& planes, std::size_t width, std::size_t height) {
  std::size_t bytes = 0;
  const bool fits = !__builtin_mul_overflow(width, height, &bytes);
  for (Plane& plane : planes.plane) {
    plane = fits ? make_buffer<std::uint8_t>(bytes) : nullptr;
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
  Plane row = make_buffer<std::uint8_t>(with_slack);
  if (row) {
    std::memset(row.get() + bytes, 0, kernels::kRowSlack);
  }
  return row;
}
