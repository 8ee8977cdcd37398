// Every kernel in every table of this machine, on rows as wide as those of a 6x8 sheet.
//
// The rate is in bytes of the row that is written, so that kernels can be compared with a copy.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "pipeline/kernels/kernels.h"
#include "pipeline/legacy_gamma.h"

namespace {

using kernels::Table;

constexpr std::size_t kWidth = 1844;
constexpr std::size_t kSourceWidth = 2400;
constexpr std::size_t kCanvasWidth = 1920;
constexpr std::size_t kImageWidth = 1800;  // the width of the canvas between the bleeds
constexpr std::size_t kBand = 128;

using Bytes = std::vector<std::uint8_t>;

Bytes noise(std::size_t count) {
  std::mt19937 engine(1);
  Bytes bytes(count + kernels::kRowSlack);
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(engine());
  return bytes;
}

// The data for all kernels.
struct Rows {
  Bytes line = noise(kSourceWidth * 6);
  Bytes other = noise(kSourceWidth * 6);
  Bytes rgb = noise(kWidth * 3);
  Bytes plane[3] = {noise(kWidth), noise(kWidth), noise(kWidth)};
};

void count_bytes(benchmark::State& state, std::size_t bytes_per_round) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes_per_round));
}

void line_to_rgb(benchmark::State& state, Table::LineToRgb* kernel) {
  Rows rows;
  for (auto _ : state) {
    kernel(rows.line.data(), rows.rgb.data(), kWidth);
    benchmark::ClobberMemory();
  }
  count_bytes(state, kWidth * 3);
}

void in_place(benchmark::State& state, Table::InPlace* kernel) {
  Rows rows;
  for (auto _ : state) {
    kernel(rows.rgb.data(), kWidth);
    benchmark::ClobberMemory();
  }
  count_bytes(state, kWidth * 3);
}

// The columns of a row that is resized from `source_width` to kWidth pixels.
struct Columns {
  std::vector<std::uint32_t> left = std::vector<std::uint32_t>(kWidth);
  std::vector<double> fraction = std::vector<double>(kWidth);
  std::vector<float> float_fraction = std::vector<float>(kWidth);
  std::uint32_t last;

  explicit Columns(std::size_t source_width)
      : last(static_cast<std::uint32_t>(3 * (source_width - 1))) {
    for (std::size_t x = 0; x < kWidth; ++x) {
      const double place = static_cast<double>(x * source_width) / kWidth;
      const auto whole = static_cast<std::uint32_t>(place);
      left[x] = 3 * whole;
      fraction[x] = place - whole;
      float_fraction[x] = left[x] == last ? 0.0F : static_cast<float>(fraction[x]);
    }
  }

  [[nodiscard]] kernels::ResizeColumns view() const {
    return {left.data(), fraction.data(), float_fraction.data(), kWidth, last};
  }
};

void resize_across(benchmark::State& state, const Table& table, std::size_t source_width) {
  Rows rows;
  const Columns columns(source_width);
  std::vector<float> estimate(kWidth * 3);
  for (auto _ : state) {
    table.resize_across(columns.view(), rows.line.data(), estimate.data());
    benchmark::ClobberMemory();
  }
  count_bytes(state, kWidth * 3);
}

void resize_down(benchmark::State& state, const Table& table, std::size_t source_width) {
  Rows rows;
  const Columns columns(source_width);
  std::vector<float> upper(kWidth * 3);
  std::vector<float> lower(kWidth * 3);
  table.resize_across(columns.view(), rows.line.data(), upper.data());
  table.resize_across(columns.view(), rows.other.data(), lower.data());
  for (auto _ : state) {
    table.resize_down(columns.view(), 0.375, {rows.line.data(), upper.data()},
                      {rows.other.data(), lower.data()}, rows.rgb.data());
    benchmark::ClobberMemory();
  }
  count_bytes(state, kWidth * 3);
}

// From half the width to the full width.
void sixteenths_across(benchmark::State& state, const Table& table) {
  Rows rows;
  std::vector<std::uint32_t> left(kWidth);
  std::vector<kernels::Sixteenths> share(kWidth);
  for (std::size_t x = 0; x < kWidth; ++x) {
    left[x] = static_cast<std::uint32_t>(x / 2 * 3);
    share[x] = x % 2 == 0 ? kernels::Sixteenths{16, 0} : kernels::Sixteenths{8, 8};
  }
  std::vector<std::uint16_t> sum(kWidth * 3);
  for (auto _ : state) {
    table.sixteenths_across({left.data(), share.data(), kWidth}, rows.line.data(), sum.data());
    benchmark::ClobberMemory();
  }
  count_bytes(state, kWidth * 3);
}

void sixteenths_down(benchmark::State& state, const Table& table) {
  Rows rows;
  const std::vector<std::uint16_t> upper(kWidth * 3, 1600);
  const std::vector<std::uint16_t> lower(kWidth * 3, 1696);
  for (auto _ : state) {
    table.sixteenths_down(upper.data(), lower.data(), 8, rows.rgb.data(), kWidth);
    benchmark::ClobberMemory();
  }
  count_bytes(state, kWidth * 3);
}

void deinterlace(benchmark::State& state, const Table& table) {
  Rows rows;
  for (auto _ : state) {
    table.deinterlace(rows.line.data(), rows.other.data(), rows.rgb.data(), kWidth);
    benchmark::ClobberMemory();
  }
  count_bytes(state, kWidth * 3);
}

void split(benchmark::State& state, Table::Split* kernel) {
  Rows rows;
  for (auto _ : state) {
    kernel(rows.rgb.data(), rows.plane[0].data(), rows.plane[1].data(), rows.plane[2].data(),
           kWidth);
    benchmark::ClobberMemory();
  }
  count_bytes(state, kWidth * 3);
}

void look_up(benchmark::State& state, const Table& table) {
  Rows rows;
  const Bytes entries = noise(256);
  for (auto _ : state) {
    table.look_up(rows.rgb.data(), entries.data(), kWidth * 3);
    benchmark::ClobberMemory();
  }
  count_bytes(state, kWidth * 3);
}

void tone_mix(benchmark::State& state, const Table& table, bool everything) {
  Rows rows;
  std::vector<float> entries(256);
  std::vector<float> steps(256);
  for (std::size_t i = 0; i < 256; ++i) {
    const auto share = static_cast<float>(i) / 255.0F;
    entries[i] = static_cast<float>(i);
    steps[i] = std::pow(share, 2.2F) * 255.0F;
  }
  kernels::StepFunction legacy;
  if (!build_step_function(steps.data(), legacy)) {
    state.SkipWithError("the steps are too close");
  }
  const float* table_or_none = everything ? entries.data() : nullptr;
  const kernels::ToneMix mix = {
      .table = {table_or_none, table_or_none, table_or_none},
      .saturate = true,
      .saturation = 1.1F,
      .balance = {1.0F, 0.98F, 1.02F},
      .correction = everything ? kernels::Correction::kAccurate : kernels::Correction::kNone,
      .linear_contrast = everything,
      .legacy = everything ? &legacy : nullptr};
  for (auto _ : state) {
    table.tone_mix(mix, rows.plane[0].data(), rows.plane[1].data(), rows.plane[2].data(), kWidth);
    benchmark::ClobberMemory();
  }
  count_bytes(state, kWidth * 3);
}

void transpose(benchmark::State& state, const Table& table) {
  const Bytes band = noise(kBand * kWidth);
  std::vector<const std::uint8_t*> rows(kBand);
  for (std::size_t i = 0; i < kBand; ++i) rows[i] = band.data() + i * kWidth;
  Bytes canvas = noise(kWidth * kCanvasWidth);
  for (auto _ : state) {
    table.transpose(rows, kWidth, canvas.data(), kCanvasWidth);
    benchmark::ClobberMemory();
  }
  count_bytes(state, kBand * kWidth);
}

// `source` columns stretched over the image area.
void copy_runs(benchmark::State& state, const Table& table, std::size_t source) {
  std::vector<kernels::CopyRun> runs;
  for (std::uint32_t x = 0; x < kImageWidth; ++x) {
    const auto from = static_cast<std::uint32_t>(x * source / kImageWidth);
    if (!runs.empty() && runs.back().from + runs.back().length == from &&
        runs.back().length < kernels::CopyRun::kMaxLength) {
      ++runs.back().length;
    } else {
      runs.push_back({x, from, 1});
    }
  }
  const Bytes plane = noise(kWidth);
  Bytes canvas = noise(kImageWidth);
  for (auto _ : state) {
    table.copy_runs(runs, plane.data(), canvas.data());
    benchmark::ClobberMemory();
  }
  count_bytes(state, kImageWidth);
}

void add_all(const Table& table) {
  const auto* tables = &table;
  const auto with_table = [tables](auto* function) {
    return [=](benchmark::State& state, auto... more) { function(state, *tables, more...); };
  };
  const auto add_one = [&](const std::string& kernel, auto function, auto... more) {
    benchmark::RegisterBenchmark((kernel + "/" + table.name).c_str(),
                                 [=](benchmark::State& state) { function(state, more...); });
  };
  add_one("rgb16_to_rgb", line_to_rgb, table.rgb16_to_rgb);
  add_one("gray8_to_rgb", line_to_rgb, table.gray8_to_rgb);
  add_one("gray1_to_rgb", line_to_rgb, table.gray1_to_rgb);
  add_one("four_inverted_to_rgb", line_to_rgb, table.four_inverted_to_rgb);
  add_one("four_with_black_to_rgb", line_to_rgb, table.four_with_black_to_rgb);
  for (const std::size_t source_width : {kSourceWidth, kSourceWidth / 2}) {
    add_one("resize_across/" + std::to_string(source_width), with_table(resize_across),
            source_width);
    add_one("resize_down/" + std::to_string(source_width), with_table(resize_down), source_width);
  }
  add_one("sixteenths_across", with_table(sixteenths_across));
  add_one("sixteenths_down", with_table(sixteenths_down));
  add_one("to_gray", in_place, table.to_gray);
  add_one("to_black", in_place, table.to_black);
  add_one("invert", in_place, table.invert);
  add_one("to_kcmy", in_place, table.to_kcmy);
  add_one("deinterlace", with_table(deinterlace));
  add_one("split", split, table.split);
  add_one("split_mirrored", split, table.split_mirrored);
  add_one("look_up", with_table(look_up));
  add_one("tone_mix/saturation", with_table(tone_mix), false);
  add_one("tone_mix/everything", with_table(tone_mix), true);
  add_one("transpose", with_table(transpose));
  add_one("copy_runs/1844", with_table(copy_runs), kWidth);
  add_one("copy_runs/922", with_table(copy_runs), kWidth / 2);
}

}  // namespace

int main(int argc, char** argv) {
  for (const Table* table : kernels::all_tables()) add_all(*table);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
