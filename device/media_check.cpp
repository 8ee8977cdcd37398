// Sheet sizes and media names, both from the paper table.

#include "device/media_check.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "paper/paper_table.h"

namespace k905 {

namespace {

// Papers that are cut or shared are printed on the media of the complete sheet.
struct SharedMedia {
  std::string_view label;
  std::string_view media;
};
constexpr auto kSharedMedia = std::to_array<SharedMedia>({
    {"6x2*2", "6x4"},
    {"6x4*2", "6x8"},
    {"6x2*4", "6x8"},
});

std::string media_of(const PaperConfig& paper) {
  const auto* shared =
      std::find_if(kSharedMedia.begin(), kSharedMedia.end(),
                   [&paper](const SharedMedia& row) { return row.label == paper.label; });
  return std::string(shared == kSharedMedia.end() ? paper.label : shared->media);
}

struct Inches {
  double width = 0;
  double length = 0;
};

// The width is that of the roll, 5 or 6 inches. It is the second number of a name like "4x6".
std::optional<Inches> size_of(const std::string& media) {
  char* end = nullptr;
  Inches size;
  size.width = std::strtod(media.c_str(), &end);
  if (end == media.c_str() || *end != 'x') {
    return std::nullopt;
  }
  const char* const second = end + 1;
  size.length = std::strtod(second, &end);
  if (end == second) {
    return std::nullopt;
  }
  if (size.width < 5 && size.length >= 5) {
    std::swap(size.width, size.length);
  }
  return size;
}

}  // namespace

std::string media_for_sheet(std::uint32_t width, std::uint32_t height) {
  for (const PaperConfig& paper : selectable_papers) {
    const auto rows = static_cast<std::uint32_t>(paper.canvas_height);
    if (width == static_cast<std::uint32_t>(paper.canvas_width) &&
        (height == rows || height == 2 * rows)) {
      return media_of(paper);
    }
  }
  return "";
}

bool media_fits_sheet(const std::string& loaded, const std::string& needed) {
  const std::optional<Inches> loaded_size = size_of(loaded);
  const std::optional<Inches> needed_size = size_of(needed);
  return !loaded_size || !needed_size ||
         (loaded_size->width == needed_size->width && loaded_size->length >= needed_size->length);
}

}  // namespace k905
