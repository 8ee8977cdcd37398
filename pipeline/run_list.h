// Stretches or shrinks lines by nearest neighbor: a list of the runs of bytes that are copied,
// computed once per page.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pipeline/kernels/kernels.h"
#include "pipeline/planes.h"

class RunList {
 public:
  // Byte `i` of a line of `length` bytes is byte source_of(i) of its source line, i ascending.
  // False when there is no memory.
  template <typename SourceOf>
  [[nodiscard]] bool build(std::size_t length, SourceOf source_of) {
    runs_ = make_buffer<kernels::CopyRun>(length);
    if (runs_ == nullptr) {
      return false;
    }
    count_ = 0;
    for (std::size_t i = 0; i < length; ++i) {
      add(static_cast<std::uint32_t>(i), static_cast<std::uint32_t>(source_of(i)));
    }
    return true;
  }

  // The source line must have kernels::kRowSlack readable bytes after its end.
  void copy(const std::uint8_t* source, std::uint8_t* line) const {
    kernels::chosen_table().copy_runs({runs_.get(), count_}, source, line);
  }

 private:
  void add(std::uint32_t to, std::uint32_t from) {
    if (count_ > 0 && from == runs_[count_ - 1].from + runs_[count_ - 1].length &&
        runs_[count_ - 1].length < kernels::CopyRun::kMaxLength) {
      ++runs_[count_ - 1].length;
    } else {
      runs_[count_++] = {.to = to, .from = from, .length = 1};
    }
  }

  Buffer<kernels::CopyRun> runs_;
  std::size_t count_ = 0;
};
