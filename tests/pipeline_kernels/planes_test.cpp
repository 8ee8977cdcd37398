// From the RGB row to planes, the rotation, and the nearest neighbor.
#include <algorithm>
#include <set>

#include "tests/pipeline_kernels/guarded_rows.h"

namespace {

using kernels::CopyRun;
using kernels::Table;

struct Planes {
  Bytes plane[3];
  friend bool operator==(const Planes&, const Planes&) = default;
};

// ---- Split --------------------------------------------------------------------------------------

Planes split_by(Table::Split* kernel, const Bytes& row, std::size_t source_offset = 0,
                const std::size_t (&offset)[3] = {0, 0, 0}) {
  const SourceRow source(row, source_offset);
  const std::size_t width = row.size() / 3;
  TargetRow target[3] = {{width, offset[0]}, {width, offset[1]}, {width, offset[2]}};
  kernel(source.data(), target[0].data(), target[1].data(), target[2].data(), width);
  Planes planes;
  for (int c = 0; c < 3; ++c) {
    EXPECT_TRUE(target[c].guards_intact()) << "width " << width << " plane " << c;
    planes.plane[c] = target[c].content();
  }
  return planes;
}

Planes split_by_formula(const Bytes& row) {
  Planes planes;
  for (std::size_t i = 0; i < row.size(); ++i) planes.plane[i % 3].push_back(row[i]);
  return planes;
}

Planes mirrored(Planes planes) {
  for (Bytes& plane : planes.plane) std::reverse(plane.begin(), plane.end());
  return planes;
}

TEST_P(EveryTable, SplitEqualsItsFormulaAtAnyWidthAndAddress) {
  for (const std::size_t width : interesting_widths()) {
    const Bytes row = dice.bytes(width * 3);
    const std::size_t offsets[3] = {any_offset(), any_offset(), any_offset()};
    EXPECT_EQ(split_by(table().split, row, any_offset(), offsets), split_by_formula(row));
    EXPECT_EQ(split_by(table().split_mirrored, row, any_offset(), offsets),
              mirrored(split_by_formula(row)));
  }
}

// ---- Rotation by 90 degrees ---------------------------------------------------------------------

// `count` rows of `width` bytes, some of them the same row, become the columns of lines with `gap`
// bytes between them, the first line on top or, with `upwards`, at the bottom. Nothing else may be
// written.
void expect_transposed(const Table& table, Dice& dice, std::size_t width, std::size_t count,
                       std::size_t gap, bool upwards) {
  const std::size_t kept = count / 2 + 1;
  std::vector<SourceRow> sources;
  std::vector<Bytes> contents;
  for (std::size_t i = 0; i < kept; ++i) {
    contents.push_back(dice.bytes(width));
    sources.emplace_back(contents.back(), dice.below(33));
  }
  const std::size_t stride = count + gap;
  Bytes expected = dice.bytes(width == 0 ? 0 : stride * (width - 1) + count);
  TargetRow target(expected, dice.below(33));
  std::vector<const std::uint8_t*> rows;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t chosen = dice.below(kept);
    rows.push_back(sources[chosen].data());
    for (std::size_t x = 0; x < width; ++x) {
      expected[(upwards ? width - 1 - x : x) * stride + i] = contents[chosen][x];
    }
  }
  const auto step = static_cast<std::ptrdiff_t>(stride);
  std::uint8_t* first = target.data() + (upwards && width > 0 ? (width - 1) * stride : 0);
  table.transpose(rows, width, first, upwards ? -step : step);
  EXPECT_TRUE(target.guards_intact()) << width << " x " << count;
  EXPECT_TRUE(target.content() == expected) << width << " x " << count;
}

TEST_P(EveryTable, TransposedUpwardsRowsAreRotatedCounterClockwise) {
  // 0 1 2           2 5
  // 3 4 5  becomes  1 4
  //                 0 3
  const SourceRow upper({0, 1, 2}, 0);
  const SourceRow lower({3, 4, 5}, 0);
  const std::vector<const std::uint8_t*> rows = {upper.data(), lower.data()};
  TargetRow target(6, 0);
  table().transpose(rows, 3, target.data() + 4, -2);
  EXPECT_EQ(target.content(), (Bytes{2, 5, 1, 4, 0, 3}));
}

TEST_P(EveryTable, TransposeWritesOnlyItsImageAtAnySize) {
  for (std::size_t width = 0; width <= 70; ++width) {
    for (const std::size_t count : {0, 1, 2, 7, 8, 15, 16, 17, 31, 32, 33, 47, 48, 63, 64, 65}) {
      expect_transposed(table(), dice, width, count, dice.below(40), dice.below(2) == 0);
    }
  }
}

TEST_P(EveryTable, TransposeRotatesBandsOfRealPages) {
  const std::size_t sizes[][2] = {{1844, 128}, {2401, 125}, {4837, 250}, {1197, 127}, {1239, 1}};
  for (const auto& [width, count] : sizes) {
    expect_transposed(table(), dice, width, count, 1920 - count, true);
    expect_transposed(table(), dice, width, count, 0, false);
  }
}

// ---- Nearest neighbor --------------------------------------------------------------------------

// The runs that make `target` columns out of `source` ones, center on center.
std::vector<CopyRun> stretched(std::uint32_t source, std::uint32_t target) {
  std::vector<CopyRun> runs;
  const double scale = static_cast<double>(target) / static_cast<double>(source);
  const double half = 0.5;
  for (std::uint32_t x = 0; x < target; ++x) {
    auto from = static_cast<std::uint32_t>(((x + half) * (1.0 / scale)) - half + half);
    from = std::min(from, source - 1);
    if (!runs.empty() && runs.back().from + runs.back().length == from &&
        runs.back().length < CopyRun::kMaxLength) {
      ++runs.back().length;
    } else {
      runs.push_back({x, from, 1});
    }
  }
  return runs;
}

void expect_copied(const Table& table, Dice& dice, const std::vector<CopyRun>& runs,
                   std::uint32_t source_size) {
  const Bytes bytes = dice.bytes(source_size);
  const SourceRow source(bytes, dice.below(33));
  const std::size_t begin = runs.empty() ? 0 : runs.front().to;
  const std::size_t end = runs.empty() ? 0 : std::size_t{runs.back().to} + runs.back().length;
  TargetRow target(end - begin, dice.below(33));
  Bytes expected(end - begin);
  for (const CopyRun& run : runs) {
    for (std::uint32_t i = 0; i < run.length; ++i) {
      expected[run.to - begin + i] = bytes[run.from + i];
    }
  }
  // The bytes before the first run are the margin of the canvas, which must not change either.
  table.copy_runs(runs, source.data(), target.data() - begin);
  EXPECT_TRUE(target.guards_intact());
  EXPECT_EQ(target.content(), expected);
}

TEST_P(EveryTable, RunsOfRealStretchesAreCopied) {
  const std::uint32_t sizes[][2] = {{1844, 1800}, {1844, 1847}, {1548, 1800}, {2436, 1800},
                                    {922, 1800},  {1844, 1844}, {1844, 1},    {1, 1800}};
  for (const auto& [from, to] : sizes) expect_copied(table(), dice, stretched(from, to), from);
}

TEST_P(EveryTable, RunsOfAnyLengthAreCopied) {
  expect_copied(table(), dice, {}, 10);
  for (int round = 0; round < 300; ++round) {
    const std::uint32_t source = 300;
    std::vector<CopyRun> runs;
    auto to = static_cast<std::uint32_t>(dice.below(80));
    const std::size_t longest = round % 2 == 0 ? CopyRun::kMaxLength : 5;
    for (std::size_t i = 0; i <= dice.below(40); ++i) {
      const auto length = static_cast<std::uint32_t>(dice.below(longest + 1));
      const auto from = static_cast<std::uint32_t>(dice.below(source - length + 1));
      runs.push_back({to, from, length});
      to += length;
    }
    expect_copied(table(), dice, runs, source);
  }
}

// ---- The tables ---------------------------------------------------------------------------------

TEST(KernelTables, PortableTableIsFirstAndTheChosenOneIsListed) {
  const auto tables = kernels::all_tables();
  ASSERT_FALSE(tables.empty());
  EXPECT_STREQ(tables.front()->name, "portable");
  EXPECT_NE(std::find(tables.begin(), tables.end(), &kernels::chosen_table()), tables.end());
  std::set<std::string> names;
  for (const Table* table : tables) names.insert(table->name);
  EXPECT_EQ(names.size(), tables.size());
}

}  // namespace
