#include "apps/status/report.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <vector>

namespace {

enum Line : std::size_t {
  kVersion,
  kStatus,
  kFirmware,
  kMedia,
  kHorizontal,
  kVertical,
  kFreeBuffers,
  kInitial,
  kRemaining,
  kSerial,
  kLife,
  kHalfSize,
  kMatte,
  kColorVersion,
  kColorChecksum,
  kModel,
  kMediaFound,
  kResolutionFound,
  kLineCount
};

// In the report's order, so that a reply that looks like another line is not taken for it.
constexpr std::array<std::string_view, kLineCount> kKeys{"Version",
                                                         "PrintStatus",
                                                         "PrintVersion",
                                                         "PrintMediaInfo",
                                                         "PrintHorResolution",
                                                         "PrintVerResolution",
                                                         "PrintFreeBuff",
                                                         "PrintInitMediaCount",
                                                         "PrintRemainQuantity",
                                                         "PrintSerialNO",
                                                         "PrintVolumeLifeCounter",
                                                         "PrintHalfSizeMediaCounter",
                                                         "PrintVolumeMatteCounter",
                                                         "PrintColorControlDataVersion",
                                                         "PrintColorControlDataChecksum",
                                                         "ActPrintVersion",
                                                         "ActPrintMediaInfo",
                                                         "ActPrintResolution"};

constexpr std::string_view kLineEnd = "\r\n";

std::optional<std::vector<std::string_view>> split(std::string_view text) {
  std::vector<std::string_view> values;
  for (std::size_t i = 0; i < kLineCount; ++i) {
    const std::string start = std::string(kKeys[i]) + " = ";
    if (!text.starts_with(start)) {
      return std::nullopt;
    }
    text.remove_prefix(start.size());
    std::size_t end = text.size() < kLineEnd.size() || !text.ends_with(kLineEnd)
                          ? std::string_view::npos
                          : text.size() - kLineEnd.size();
    if (i + 1 < kLineCount) {
      end = text.find(std::string(kLineEnd).append(kKeys[i + 1]).append(" = "));
    }
    if (end == std::string_view::npos) {
      return std::nullopt;
    }
    values.push_back(text.substr(0, end));
    text.remove_prefix(end + kLineEnd.size());
  }
  return values;
}

struct Counted {
  std::string_view text;
  int number = -1;
};

// "TEXT (NUMBER)"
Counted counted(std::string_view value) {
  const std::size_t open = value.rfind(" (");
  Counted parts;
  if (open != std::string_view::npos && value.ends_with(')')) {
    parts.text = value.substr(0, open);
    const std::string_view digits = value.substr(open + 2, value.size() - open - 3);
    std::from_chars(digits.data(), digits.data() + digits.size(), parts.number);
  }
  return parts;
}

// The number, where the reply is long enough to have one and has a digit in its place. The report
// gives -1 for the one and 0 for the other.
std::optional<int> counter(std::string_view value, std::size_t first, std::size_t digits) {
  const Counted parts = counted(value);
  if (parts.text.size() < first + digits) {
    return std::nullopt;
  }
  const std::string_view place = parts.text.substr(first, digits);
  const bool has_digit =
      std::ranges::any_of(place, [](unsigned char letter) { return std::isdigit(letter) != 0; });
  return has_digit ? std::optional(parts.number) : std::nullopt;
}

}  // namespace

std::optional<PrinterReport> parse_report(std::string_view text) {
  const auto values = split(text);
  if (!values) {
    return std::nullopt;
  }
  const auto value = [&values](Line line) { return std::string((*values)[line]); };
  PrinterReport report;
  const Counted status = counted((*values)[kStatus]);
  if (status.number != -1) {
    report.status_code = status.number;
    report.status_text = status.text;
  }
  report.model = value(kModel);
  report.media = value(kMediaFound);
  report.media_text = value(kMedia);
  report.resolution = value(kResolutionFound);
  report.serial_number = value(kSerial);
  report.firmware = value(kFirmware);
  report.color_data_version = value(kColorVersion);
  report.color_data_checksum = value(kColorChecksum);
  report.prints_left = counter((*values)[kRemaining], 4, 4);
  if (report.prints_left) {
    report.prints_left = std::max(0, *report.prints_left);
  }
  report.prints_initial = counter((*values)[kInitial], 4, 4);
  report.half_size_left = counter((*values)[kHalfSize], 4, 4);
  report.free_buffers = counter((*values)[kFreeBuffers], 3, 2);
  report.life_counter = counter((*values)[kLife], 2, 7);
  report.matte_counter = counter((*values)[kMatte], 4, 7);
  const bool has_counter_text =
      std::ranges::any_of(std::array{kFreeBuffers, kInitial, kRemaining, kLife, kHalfSize, kMatte},
                          [&](Line line) { return !counted((*values)[line]).text.empty(); });
  const bool has_text = std::ranges::any_of(
      std::array{kFirmware, kMedia, kHorizontal, kVertical, kSerial, kColorVersion, kColorChecksum},
      [&](Line line) { return !(*values)[line].empty(); });
  report.answered = report.status_code.has_value() || has_counter_text || has_text;
  return report;
}
