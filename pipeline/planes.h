// Memory for pixels: planes and rows, from malloc, owned by unique_ptr. The only door to the heap
// for the pipeline.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>

struct FreeDeleter {
  void operator()(void* memory) const noexcept { std::free(memory); }
};

// Bytes from malloc: what a caller outside may free().
using Plane = std::unique_ptr<std::uint8_t[], FreeDeleter>;

// Three planes of one size, rows from the top, stride = width.
struct PlaneSet {
  Plane plane[3];
};

// a * b, or nothing when that overflows.
[[nodiscard]] std::optional<std::size_t> checked_product(std::size_t a, std::size_t b);

// `bytes` bytes (at least one), not cleared; null when they cannot be had.
[[nodiscard]] Plane make_plane(std::size_t bytes);

// Three planes of width x height bytes each; false, with none held, when one cannot be had.
[[nodiscard]] bool make_planes(PlaneSet& planes, std::size_t width, std::size_t height);

// A row of `bytes` bytes with the slack behind it that kernels may read; null when it cannot be
// had.
[[nodiscard]] Plane make_row(std::size_t bytes);
