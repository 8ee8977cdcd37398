// The readers of picture files and what happens to a picture on its way to a page: turned upright,
// brought to sRGB, fitted or prepared for the sheet. Reading twice gives the same, so that no byte
// comes from memory that nobody wrote.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

#include "apps/image/picture.h"
#include "apps/image/profile_conversion.h"
#include "apps/image/read_picture.h"
#include "apps/image/scale.h"
#include "apps/image/write_png.h"
#include "apps/layout/prepare.h"
#include "fuzz/expect.h"
#include "fuzz/memory_file.h"

namespace {

// What a PNG file promises at its fixed place: an interlaced one gets its memory at once, which is
// right for a photograph and stops an engine that counts megabytes.
bool promises_much(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t width_at = 16;
  constexpr std::size_t height_at = 20;
  constexpr std::uint64_t much = 1 << 22;
  if (size < height_at + 4 || data[0] != 0x89) return false;
  const auto number = [data](std::size_t at) {
    return std::uint64_t{data[at]} << 24 | data[at + 1] << 16 | data[at + 2] << 8 | data[at + 3];
  };
  return number(width_at) * number(height_at) > much;
}

bool is_one_plain_line(const std::string& text) {
  return !text.empty() && text.find('\n') == std::string::npos;
}

void expect_sound(const Picture& picture, Inks inks) {
  expect(picture.width > 0 && picture.height > 0, "a picture has pixels");
  expect(picture.height <= kMostPixels / picture.width, "not more pixels than are read");
  expect(picture.channels == 1 || picture.channels == 3 ||
             (picture.channels == 4 && inks == Inks::keep_profiled && !picture.icc_profile.empty()),
         "grey, colours, or inks that are known");
  expect(picture.bits == 8 || picture.bits == 16, "8 or 16 bits");
  expect(picture.bytes.size() == picture.row_bytes() * picture.height, "every row is there");
  expect(picture.orientation >= 1 && picture.orientation <= 8, "an orientation that is known");
  expect(picture.icc_profile.empty() || picture.icc_profile.size() >= 128,
         "a profile has a header");
}

bool same(const Picture& a, const Picture& b) {
  return a.width == b.width && a.height == b.height && a.channels == b.channels &&
         a.bits == b.bits && a.orientation == b.orientation && a.bytes == b.bytes &&
         a.icc_profile == b.icc_profile;
}

std::uint64_t sum_of_samples(const Picture& picture) {
  std::uint64_t sum = 0;
  for (const std::uint8_t byte : picture.bytes) sum += byte;
  return sum;
}

// A picture on a sheet of 24 x 16 pixels, in the three ways there are.
void put_on_a_sheet(const Picture& picture) {
  for (const Fit fit : {Fit::fill, Fit::whole, Fit::stretch}) {
    const Picture page = fitted(picture, 24, 16, fit, fit == Fit::stretch ? 2.0 : 1.0);
    expect(page.width == 24 && page.height == 16, "a page has the size that was asked for");
    expect(page.bytes.size() == page.row_bytes() * 16, "every row of the page is there");
  }
}

// As k905-print does it, for a sheet that shows less than the page has.
void prepare_for_a_sheet(const Picture& picture) {
  SheetPlace place;
  place.page_width = 40;
  place.page_height = 28;
  place.seen_width = 36;
  place.seen_height = 30;
  for (const bool whole : {false, true}) {
    const Picture page = prepare(picture, place, {.whole = whole}).page;
    expect(page.width == 40 && page.height == 28 && page.bits == 8, "a page for the filter");
    expect_sound(page, Inks::to_colours);
  }
}

void expect_png_brings_it_back(const Picture& picture) {
  const MemoryFile file("", 0);
  std::string error;
  expect(write_png(file.path(), picture, {}, error), "a picture can be written");
  const std::optional<Picture> back = read_picture(file.path(), error);
  expect(back && back->bytes == picture.bytes && back->channels == picture.channels &&
             back->bits == picture.bits,
         "a written picture is read back");
}

void follow(const Picture& picture) {
  Picture seen = upright(picture);
  expect(seen.orientation == 1 || picture.orientation == 1, "upright is upright");
  expect(sum_of_samples(seen) == sum_of_samples(picture), "turning loses no pixel");
  std::string error;
  const bool converted = convert_to_srgb(seen, error);
  expect(converted ? seen.icc_profile.empty() : is_one_plain_line(error), "a profile, or a reason");
  if (converted) expect_sound(seen, Inks::to_colours);
  constexpr std::size_t small = 1 << 18;
  if (seen.bytes.size() > small) return;
  put_on_a_sheet(seen);
  prepare_for_a_sheet(picture);
  if (seen.channels != 4) expect_png_brings_it_back(seen);
}

void read_as(const MemoryFile& file, Inks inks) {
  std::string error;
  const std::optional<Picture> picture = read_picture(file.path(), error, inks);
  std::string error_again;
  const std::optional<Picture> again = read_picture(file.path(), error_again, inks);
  expect(picture.has_value() == again.has_value() && error == error_again, "the same outcome");
  if (!picture) {
    expect(is_one_plain_line(error), "a reason in one line");
    return;
  }
  expect_sound(*picture, inks);
  expect(same(*picture, *again), "the same picture");
  follow(*picture);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (promises_much(data, size)) return 0;
  const MemoryFile file(data, size);
  read_as(file, Inks::to_colours);
  read_as(file, Inks::keep_profiled);
  return 0;
}
