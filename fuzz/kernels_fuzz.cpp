// Compares every table of this machine with the portable one, on rows, positions and settings from
// the input. Sources end after their slack and targets after their row, so that the address
// sanitizer detects what a comparison of bytes does not.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <vector>

#include "fuzz/input.h"
#include "pipeline/kernels/kernels.h"
#include "pipeline/legacy_gamma.h"

namespace {

using kernels::Table;
using Bytes = std::vector<std::uint8_t>;

// A row in its own allocation, with the slack that kernels may read.
class Row {
 public:
  explicit Row(const Bytes& content)
      : memory_(std::make_unique<std::uint8_t[]>(content.size() + kernels::kRowSlack)) {
    std::copy(content.begin(), content.end(), memory_.get());
  }
  [[nodiscard]] std::uint8_t* data() const { return memory_.get(); }

 private:
  std::unique_ptr<std::uint8_t[]> memory_;
};

void expect_equal(const Table& table, const char* kernel, const Bytes& got, const Bytes& wanted) {
  if (got != wanted) {
    std::fprintf(stderr, "%s of table %s differs from the portable one\n", kernel, table.name);
    std::abort();
  }
}

// Runs `kernel(table, target)` with the portable table and with every other.
template <typename Kernel>
void compare(const char* name, const Bytes& target, Kernel kernel) {
  Bytes wanted;
  for (const Table* table : kernels::all_tables()) {
    Bytes got = target;
    kernel(*table, got.data());
    if (wanted.empty()) wanted = got;
    expect_equal(*table, name, got, wanted);
  }
}

// In place: the slack after the row must not change.
template <typename Kernel>
void compare_in_place(const char* name, const Bytes& content, Kernel kernel) {
  Bytes with_slack = content;
  with_slack.resize(content.size() + kernels::kRowSlack);
  compare(name, with_slack, kernel);
}

void lines(Input& input) {
  const std::size_t width = input.below(300);
  const Row line(input.bytes(6 * width));
  const Bytes target(3 * width);
  compare("rgb16_to_rgb", target,
          [&](const Table& t, std::uint8_t* row) { t.rgb16_to_rgb(line.data(), row, width); });
  compare("gray8_to_rgb", target,
          [&](const Table& t, std::uint8_t* row) { t.gray8_to_rgb(line.data(), row, width); });
  compare("gray1_to_rgb", target,
          [&](const Table& t, std::uint8_t* row) { t.gray1_to_rgb(line.data(), row, width); });
  compare("four_inverted_to_rgb", target, [&](const Table& t, std::uint8_t* row) {
    t.four_inverted_to_rgb(line.data(), row, width);
  });
  compare("four_with_black_to_rgb", target, [&](const Table& t, std::uint8_t* row) {
    t.four_with_black_to_rgb(line.data(), row, width);
  });
}

void rows(Input& input) {
  const std::size_t width = input.below(300);
  const Bytes content = input.bytes(3 * width);
  const Row other(input.bytes(3 * width));
  const Row row(content);
  compare_in_place("to_gray", content,
                   [&](const Table& t, std::uint8_t* bytes) { t.to_gray(bytes, width); });
  compare_in_place("to_black", content,
                   [&](const Table& t, std::uint8_t* bytes) { t.to_black(bytes, width); });
  compare_in_place("invert", content,
                   [&](const Table& t, std::uint8_t* bytes) { t.invert(bytes, width); });
  compare_in_place("to_kcmy", content,
                   [&](const Table& t, std::uint8_t* bytes) { t.to_kcmy(bytes, width); });
  compare("deinterlace", Bytes(3 * width), [&](const Table& t, std::uint8_t* target) {
    t.deinterlace(row.data(), other.data(), target, width);
  });
  compare("split", Bytes(3 * width), [&](const Table& t, std::uint8_t* target) {
    t.split(row.data(), target, target + width, target + 2 * width, width);
  });
  compare("split_mirrored", Bytes(3 * width), [&](const Table& t, std::uint8_t* target) {
    t.split_mirrored(row.data(), target, target + width, target + 2 * width, width);
  });
}

double fraction(Input& input) {
  // Includes halves and other sixteenths, for which an estimate cannot decide how to round.
  const std::uint16_t share = input.value<std::uint16_t>();
  return input.byte() % 2 == 0 ? (share % 16) / 16.0 : share / 65536.0;
}

// One output row by both steps of the estimate.
Bytes resized(const Table& table, const kernels::ResizeColumns& columns, double down,
              const Row& top, const Row& bottom) {
  const std::size_t floats =
      columns.width / kernels::ResizeLine::kBlockPixels * kernels::ResizeLine::kBlockFloats;
  std::vector<float> upper(floats);
  std::vector<float> lower(floats);
  table.resize_across(columns, top.data(), upper.data());
  table.resize_across(columns, bottom.data(), lower.data());
  Bytes row(3 * columns.width);
  table.resize_down(columns, down, {top.data(), upper.data()}, {bottom.data(), lower.data()},
                    row.data());
  return row;
}

void resize(Input& input) {
  const std::size_t source = 1 + input.below(100);
  const std::size_t width = input.below(200);
  std::vector<std::uint32_t> left(width);
  std::vector<double> fractions(width);
  std::vector<float> float_fraction(width);
  for (std::size_t x = 0; x < width; ++x) {
    const std::size_t column = input.below(source);
    left[x] = static_cast<std::uint32_t>(3 * column);
    fractions[x] = fraction(input);
    float_fraction[x] = column + 1 == source ? 0.0F : static_cast<float>(fractions[x]);
  }
  const kernels::ResizeColumns columns = {left.data(), fractions.data(), float_fraction.data(),
                                          width, static_cast<std::uint32_t>(3 * (source - 1))};
  const double down = fraction(input);
  const Row top(input.bytes(3 * source));
  const Row bottom(input.bytes(3 * source));
  const Bytes wanted = resized(*kernels::all_tables().front(), columns, down, top, bottom);
  for (const Table* table : kernels::all_tables()) {
    expect_equal(*table, "resize_down", resized(*table, columns, down, top, bottom), wanted);
  }
}

// Positions in sixteenths: every table computes them in integers, with the result of the portable
// table's estimate.
void sixteenths(Input& input) {
  const std::size_t source = 1 + input.below(100);
  const std::size_t width = input.below(200);
  std::vector<std::uint32_t> left(width);
  std::vector<double> fractions(width);
  std::vector<float> float_fraction(width);
  std::vector<kernels::Sixteenths> share(width);
  for (std::size_t x = 0; x < width; ++x) {
    const std::size_t column = input.below(source);
    left[x] = static_cast<std::uint32_t>(3 * column);
    const std::size_t right = column + 1 == source ? 0 : input.below(17);
    share[x] = {static_cast<std::uint8_t>(16 - right), static_cast<std::uint8_t>(right)};
    fractions[x] = static_cast<double>(right) / 16.0;
    float_fraction[x] = static_cast<float>(fractions[x]);
  }
  const kernels::ResizeColumns columns = {left.data(), fractions.data(), float_fraction.data(),
                                          width, static_cast<std::uint32_t>(3 * (source - 1))};
  const auto down = static_cast<std::uint16_t>(input.below(16));
  const Row top(input.bytes(3 * source));
  const Row bottom(input.bytes(3 * source));
  const Bytes wanted = resized(*kernels::all_tables().front(), columns, down / 16.0, top, bottom);
  for (const Table* table : kernels::all_tables()) {
    std::vector<std::uint16_t> upper(3 * width);
    std::vector<std::uint16_t> lower(3 * width);
    table->sixteenths_across({left.data(), share.data(), width}, top.data(), upper.data());
    table->sixteenths_across({left.data(), share.data(), width}, bottom.data(), lower.data());
    Bytes row(3 * width);
    table->sixteenths_down(upper.data(), lower.data(), down, row.data(), width);
    expect_equal(*table, "sixteenths_down", row, wanted);
  }
}

void tone(Input& input) {
  const std::size_t width = input.below(300);
  const Bytes table = input.bytes(256);
  std::vector<float> entries(256);
  std::vector<float> steps(256);
  for (std::size_t i = 0; i < 256; ++i) {
    entries[i] = i < 8 ? input.value<float>() : static_cast<float>(table[i]) * 1.3F - 20.0F;
    steps[i] = std::max(static_cast<float>(i * i) / 255.0F, 0.002F);
  }
  kernels::StepFunction legacy;
  const bool has_legacy = build_step_function(steps.data(), legacy) && input.byte() % 2 == 0;
  const kernels::ToneMix mix = {
      .table = {entries.data(), input.byte() % 2 == 0 ? nullptr : entries.data(), entries.data()},
      .saturate = input.byte() % 2 == 0,
      .saturation = input.value<float>(),
      .balance = {input.value<float>(), 1.0F, static_cast<float>(input.byte()) / 100.0F},
      .correction = static_cast<kernels::Correction>(input.byte() % 5),
      .linear_contrast = input.byte() % 2 == 0,
      .legacy = has_legacy ? &legacy : nullptr};
  const Bytes planes = input.bytes(3 * width);
  compare_in_place("tone_mix", planes, [&](const Table& t, std::uint8_t* bytes) {
    t.tone_mix(mix, bytes, bytes + width, bytes + 2 * width, width);
  });
  compare_in_place("look_up", planes, [&](const Table& t, std::uint8_t* bytes) {
    t.look_up(bytes, table.data(), 3 * width);
  });
}

void moves(Input& input) {
  const std::size_t width = input.below(200);
  const std::size_t count = input.below(100);
  const Row row(input.bytes(width + count));
  std::vector<const std::uint8_t*> chosen(count);
  for (const std::uint8_t*& source : chosen) source = row.data() + input.below(count);
  compare("transpose", Bytes(width * count), [&](const Table& t, std::uint8_t* target) {
    const bool upwards = width > 0 && count % 2 == 0;
    const auto stride = static_cast<std::ptrdiff_t>(count);
    t.transpose(chosen, width, upwards ? target + (width - 1) * count : target,
                upwards ? -stride : stride);
  });

  std::vector<kernels::CopyRun> runs;
  std::uint32_t to = 0;
  for (std::size_t i = input.below(40); i > 0; --i) {
    const std::size_t longest = std::min<std::size_t>(width, kernels::CopyRun::kMaxLength);
    const auto length = static_cast<std::uint32_t>(input.below(longest + 1));
    const auto from = static_cast<std::uint32_t>(input.below(width - length + 1));
    runs.push_back({to, from, length});
    to += length;
  }
  // One byte more than the runs fill: it must not change.
  compare("copy_runs", Bytes(to + 1),
          [&](const Table& t, std::uint8_t* target) { t.copy_runs(runs, row.data(), target); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  constexpr void (*kFamilies[])(Input&) = {lines, rows, resize, tone, moves, sixteenths};
  kFamilies[input.below(std::size(kFamilies))](input);
  return 0;
}
