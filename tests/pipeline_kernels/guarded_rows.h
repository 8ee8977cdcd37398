// Rows for kernel tests. A source ends exactly where its slack ends, so that the address sanitizer
// detects a load beyond it; a target is between guard bytes, so that every build detects a store
// beyond it.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <random>
#include <vector>

#include "pipeline/kernels/kernels.h"

namespace kernels {
// How test output shows a table.
inline void PrintTo(const Table* table, std::ostream* out) { *out << table->name; }
}  // namespace kernels

using Bytes = std::vector<std::uint8_t>;

// Repeatable in every run; each test starts from the same seed.
class Dice {
 public:
  std::size_t below(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(engine_);
  }
  double fraction() { return std::uniform_real_distribution<double>(0.0, 1.0)(engine_); }
  std::uint8_t byte() { return static_cast<std::uint8_t>(engine_() & 0xFFU); }
  Bytes bytes(std::size_t count);

 private:
  std::mt19937 engine_{20240531};
};

// Bytes that a kernel may read, and kRowSlack after them; the memory ends there. Starts at an odd
// address when `offset` is odd.
class SourceRow {
 public:
  SourceRow(const Bytes& content, std::size_t offset);
  [[nodiscard]] const std::uint8_t* data() const { return memory_.get() + offset_; }

 private:
  std::size_t offset_;
  std::unique_ptr<std::uint8_t[]> memory_;
};

// Bytes that a kernel fills (or changes in place), between guard bytes that it must not change.
class TargetRow {
 public:
  TargetRow(std::size_t size, std::size_t offset);
  TargetRow(const Bytes& content, std::size_t offset);
  [[nodiscard]] std::uint8_t* data() { return memory_.data() + begin_; }
  [[nodiscard]] Bytes content() const;
  [[nodiscard]] bool guards_intact() const;

 private:
  std::size_t begin_;
  std::size_t size_;
  Bytes memory_;
};

// Every width up to a few vectors, to test the remainders, and some widths of real rows.
std::vector<std::size_t> interesting_widths();

// A test that runs once for each table of this machine.
class EveryTable : public testing::TestWithParam<const kernels::Table*> {
 protected:
  [[nodiscard]] static const kernels::Table& table() { return *GetParam(); }
  std::size_t any_offset() { return dice.below(33); }
  Dice dice;
};
