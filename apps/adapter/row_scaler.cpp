#include "apps/adapter/row_scaler.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace k905 {

namespace {

constexpr std::uint32_t kHalf = AxisMap::kWhole / 2;
constexpr std::uint16_t kWideWhite = 0xFFFF;

std::size_t max_taps(const AxisMap& map) {
  std::size_t max = 1;
  for (std::size_t i = 0; i < map.size(); ++i) max = std::max(max, map.taps(i).weights.size());
  return max;
}

// A sample of a row as 16 bits; rows may be unaligned.
std::uint32_t wide_sample(const std::uint8_t* row, std::size_t index, std::size_t sample_bytes) {
  if (sample_bytes == 1) return row[index] * 257U;
  std::uint16_t sample = 0;
  std::memcpy(&sample, row + 2 * index, sizeof sample);
  return sample;
}

// The share of white that the weights leave.
std::uint32_t white_weight(const AxisMap::Taps& taps) {
  return AxisMap::kWhole - std::accumulate(taps.weights.begin(), taps.weights.end(), 0U);
}

}  // namespace

RowScaler::RowScaler(const AxisMap& columns, const AxisMap& rows, const RowFormat& format)
    : columns_(columns), rows_(rows), format_(format) {
  if (columns_.is_exact()) find_runs();
  if (!rows_.is_exact()) kept_.resize(max_taps(rows_));
}

void RowScaler::find_runs() {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const AxisMap::Taps taps = columns_.taps(i);
    const bool white = taps.weights.empty();
    const bool continues =
        !runs_.empty() && runs_.back().white == white &&
        (white || runs_.back().source + runs_.back().count == std::size_t{taps.first});
    if (continues) {
      ++runs_.back().count;
    } else {
      runs_.push_back({.target = i, .source = taps.first, .count = 1, .white = white});
    }
  }
}

void RowScaler::copy_runs(const std::uint8_t* row, std::uint8_t* out) const {
  const std::size_t pixel = format_.pixel_bytes();
  for (const Run& run : runs_) {
    std::uint8_t* target = out + run.target * pixel;
    if (run.white) {
      std::memset(target, format_.white, run.count * pixel);
    } else {
      std::memcpy(target, row + run.source * pixel, run.count * pixel);
    }
  }
}

void RowScaler::widen(const std::uint8_t* row, Samples& wide) const {
  if (format_.sample_bytes == 2) {
    std::memcpy(wide.data(), row, wide.size() * sizeof wide[0]);
    return;
  }
  std::transform(row, row + wide.size(), wide.begin(),
                 [](std::uint8_t byte) { return static_cast<std::uint16_t>(byte * 257); });
}

void RowScaler::store(const Samples& wide, std::uint8_t* out) const {
  if (format_.sample_bytes == 2) {
    std::memcpy(out, wide.data(), wide.size() * sizeof wide[0]);
    return;
  }
  std::transform(wide.begin(), wide.end(), out, [](std::uint16_t sample) {
    return static_cast<std::uint8_t>((sample + 128U) / 257U);
  });
}

void RowScaler::scale_columns(const std::uint8_t* row, Samples& out) {
  const std::size_t channels = format_.channels;
  const std::uint32_t white = format_.white == 0 ? 0 : kWideWhite;
  out.resize(columns_.size() * channels);
  std::uint16_t* target = out.data();
  for (std::size_t i = 0; i < columns_.size(); ++i, target += channels) {
    const AxisMap::Taps taps = columns_.taps(i);
    const std::uint32_t rest = white_weight(taps) * white + kHalf;
    for (std::size_t channel = 0; channel < channels; ++channel) {
      std::uint32_t sum = rest;
      std::size_t from = taps.first * channels + channel;
      for (const std::uint32_t weight : taps.weights) {
        sum += weight * wide_sample(row, from, format_.sample_bytes);
        from += channels;
      }
      target[channel] = static_cast<std::uint16_t>(sum / AxisMap::kWhole);
    }
  }
}

const std::uint8_t* RowScaler::source_row(std::uint32_t row, RowSource& source) {
  while (rows_read_ <= row) {
    current_ = source.next_row();
    if (current_ == nullptr) return nullptr;
    ++rows_read_;
  }
  return current_;
}

bool RowScaler::copy_row(std::uint32_t row, RowSource& source, std::uint8_t* out) {
  const std::uint8_t* from = source_row(row, source);
  if (from == nullptr) return false;
  if (columns_.is_exact()) {
    copy_runs(from, out);
    return true;
  }
  scale_columns(from, result_);
  store(result_, out);
  return true;
}

bool RowScaler::mix_rows(const AxisMap::Taps& taps, RowSource& source, std::uint8_t* out) {
  const auto end = taps.first + static_cast<std::uint32_t>(taps.weights.size());
  for (std::uint32_t row = std::max(kept_until_, taps.first); row < end; ++row) {
    const std::uint8_t* from = source_row(row, source);
    if (from == nullptr) return false;
    Samples& scaled = kept(row);
    if (columns_.is_exact()) {
      copy_runs(from, out);
      scaled.resize(columns_.size() * format_.channels);
      widen(out, scaled);
    } else {
      scale_columns(from, scaled);
    }
    kept_until_ = row + 1;
  }
  const std::uint32_t white = format_.white == 0 ? 0 : kWideWhite;
  sums_.assign(columns_.size() * format_.channels, white_weight(taps) * white + kHalf);
  for (std::uint32_t row = taps.first; row < end; ++row) {
    const std::uint32_t weight = taps.weights[row - taps.first];
    const Samples& samples = kept(row);
    for (std::size_t i = 0; i < sums_.size(); ++i) sums_[i] += weight * samples[i];
  }
  result_.resize(sums_.size());
  std::transform(sums_.begin(), sums_.end(), result_.begin(), [](std::uint32_t sum) {
    return static_cast<std::uint16_t>(sum / AxisMap::kWhole);
  });
  store(result_, out);
  return true;
}

bool RowScaler::make_row(std::size_t y, RowSource& source, std::uint8_t* out) {
  const AxisMap::Taps taps = rows_.taps(y);
  if (taps.weights.empty()) {
    std::memset(out, format_.white, columns_.size() * format_.pixel_bytes());
    return true;
  }
  return rows_.is_exact() ? copy_row(taps.first, source, out) : mix_rows(taps, source, out);
}

}  // namespace k905
