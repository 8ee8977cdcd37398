// Memory for pixels, rows and maps, and the types of pixel data. All memory of the pipeline comes
// from here.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <type_traits>

struct FreeDeleter {
  void operator()(void* memory) const noexcept { std::free(memory); }
};

// Elements from malloc, so that callers of the pipeline can free() the planes that they receive.
template <class T>
using Buffer = std::unique_ptr<T[], FreeDeleter>;

// `count` elements, not initialized; null when there is no memory for them or their size overflows.
// A count of 0 is not an error: one byte is allocated.
template <class T>
[[nodiscard]] Buffer<T> make_buffer(std::size_t count) {
  static_assert(std::is_trivially_copyable_v<T>);
  std::size_t bytes = 0;
  if (__builtin_mul_overflow(count, sizeof(T), &bytes)) {
    return nullptr;
  }
  return Buffer<T>(static_cast<T*>(std::malloc(std::max<std::size_t>(bytes, 1))));
}

using Plane = Buffer<std::uint8_t>;

// Three planes of one size, rows from the top, stride = width.
struct PlaneSet {
  Plane plane[3];
};

// Three planes of width x height bytes each; returns false and keeps none of them if there is no
// memory.
[[nodiscard]] bool make_planes(PlaneSet& planes, std::size_t width, std::size_t height);

// A row of `bytes` bytes and the readable bytes after it that kernels need; null when there is no
// memory.
[[nodiscard]] Plane make_row(std::size_t bytes);

// One row of three planes.
struct PlaneRow {
  std::uint8_t* plane[3];

  [[nodiscard]] PlaneRow from(std::size_t x) const {
    return {{plane[0] + x, plane[1] + x, plane[2] + x}};
  }
};

using Rgb = std::array<std::uint8_t, 3>;

[[nodiscard]] inline Rgb pixel_at(const PlaneRow& row, std::size_t x) {
  return {row.plane[0][x], row.plane[1][x], row.plane[2][x]};
}

// A finished canvas: planes of width x height bytes, or null planes if there is none.
struct SheetImage {
  PlaneSet planes;
  std::int32_t width = 0;
  std::int32_t height = 0;
};
