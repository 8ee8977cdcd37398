#include "tests/pipeline_kernels/guarded_rows.h"

#include <algorithm>
#include <numeric>
#include <string>

namespace {

constexpr std::size_t kGuard = 96;
constexpr std::uint8_t kGuardByte = 0xA5;

std::string name_of(const testing::TestParamInfo<const kernels::Table*>& table) {
  return table.param->name;
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Kernels, EveryTable, testing::ValuesIn(kernels::all_tables()), name_of);

Bytes Dice::bytes(std::size_t count) {
  Bytes result(count);
  std::generate(result.begin(), result.end(), [this] { return byte(); });
  return result;
}

SourceRow::SourceRow(const Bytes& content, std::size_t offset)
    : offset_(offset),
      memory_(std::make_unique<std::uint8_t[]>(offset + content.size() + kernels::kRowSlack)) {
  std::copy(content.begin(), content.end(), memory_.get() + offset_);
}

TargetRow::TargetRow(std::size_t size, std::size_t offset)
    : begin_(kGuard + offset), size_(size), memory_(begin_ + size + kGuard, kGuardByte) {}

TargetRow::TargetRow(const Bytes& content, std::size_t offset) : TargetRow(content.size(), offset) {
  std::copy(content.begin(), content.end(), data());
}

Bytes TargetRow::content() const {
  const auto begin = memory_.begin() + static_cast<std::ptrdiff_t>(begin_);
  return {begin, begin + static_cast<std::ptrdiff_t>(size_)};
}

bool TargetRow::guards_intact() const {
  const auto untouched = [](std::uint8_t byte) { return byte == kGuardByte; };
  const auto begin = memory_.begin() + static_cast<std::ptrdiff_t>(begin_);
  return std::all_of(memory_.begin(), begin, untouched) &&
         std::all_of(begin + static_cast<std::ptrdiff_t>(size_), memory_.end(), untouched);
}

std::vector<std::size_t> interesting_widths() {
  std::vector<std::size_t> widths(71);
  std::iota(widths.begin(), widths.end(), std::size_t{0});
  widths.insert(widths.end(), {95, 96, 97, 127, 128, 129, 255, 256, 257, 511, 1000, 1548, 1844});
  Dice dice;
  for (int i = 0; i < 12; ++i) widths.push_back(71 + dice.below(2400));
  return widths;
}
