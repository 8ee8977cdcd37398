// Photo files: opened, decoded, prepared for a sheet. Decoding twice gives the same result, so no
// byte comes from uninitialized memory.
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

#include "apps/image/photo.h"
#include "apps/image/picture.h"
#include "apps/image/profile_conversion.h"
#include "apps/image/write_png.h"
#include "apps/layout/prepare.h"
#include "fuzz/expect.h"
#include "fuzz/memory_file.h"

namespace {

bool is_one_plain_line(const std::string& text) {
  return !text.empty() && text.find('\n') == std::string::npos;
}

void expect_consistent(const k905::Picture& picture) {
  expect(picture.width > 0 && picture.height > 0, "an image has pixels");
  expect(picture.height <= k905::kMaxPixels / picture.width, "no more pixels than the limit");
  expect(picture.channels == 1 || picture.channels == 3, "gray or RGB");
  expect(picture.bits == 8 || picture.bits == 16, "8 or 16 bits");
  expect(picture.bytes.size() == picture.row_bytes() * picture.height, "all rows are present");
  expect(picture.icc_profile.empty() || picture.icc_profile.size() >= 128,
         "a profile has a header");
}

bool same(const k905::Picture& a, const k905::Picture& b) {
  return a.width == b.width && a.height == b.height && a.channels == b.channels &&
         a.bits == b.bits && a.bytes == b.bytes && a.icc_profile == b.icc_profile;
}

// As k905-print does it, for a sheet that shows less than the page has.
void prepare_for_a_sheet(const std::string& path) {
  k905::SheetPlace place;
  place.page_width = 40;
  place.page_height = 28;
  place.visible_width = 36;
  place.visible_height = 30;
  const k905::PixelSize size = picture_size(place);
  for (const bool fit : {false, true}) {
    std::string error;
    const auto photo = k905::Photo::open(k905::open_photo_file(path, error), error);
    const auto prepared =
        photo ? prepare(*photo, place, {.fit = fit}, error) : std::optional<k905::PreparedPhoto>{};
    if (!prepared) {
      expect(is_one_plain_line(error), "a reason in one line");
      continue;
    }
    const k905::Picture& page = prepared->picture;
    expect(page.width == size.width && page.height == size.height && page.bits == 8,
           "a photo of the size that the sheet shows");
    expect_consistent(page);
  }
}

void expect_png_round_trip(const k905::Picture& picture) {
  const MemoryFile file("", 0);
  std::string error;
  expect(write_png(file.path(), picture, {}, error), "an image can be written");
  const std::optional<k905::Picture> back = k905::read_photo(file.path(), error);
  expect(back && back->bytes == picture.bytes && back->channels == picture.channels &&
             back->bits == picture.bits,
         "a written image is read back");
}

// A large photo is valid, but exceeds the memory limit of the engine.
bool is_small(const std::string& path) {
  constexpr std::uint64_t max_pixels = 1 << 22;
  std::string error;
  const auto photo = k905::Photo::open(k905::open_photo_file(path, error), error);
  expect(photo.has_value() || is_one_plain_line(error), "a reason in one line");
  return photo && std::uint64_t{photo->width()} * photo->height() <= max_pixels;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const MemoryFile file(data, size);
  if (!is_small(file.path())) return 0;
  std::string error;
  std::optional<k905::Picture> picture = k905::read_photo(file.path(), error);
  std::string second_error;
  const std::optional<k905::Picture> again = k905::read_photo(file.path(), second_error);
  expect(picture.has_value() == again.has_value() && error == second_error, "the same outcome");
  prepare_for_a_sheet(file.path());
  if (!picture) {
    expect(is_one_plain_line(error), "a reason in one line");
    return 0;
  }
  expect_consistent(*picture);
  expect(same(*picture, *again), "the same image");
  picture->icc_profile.clear();
  expect_png_round_trip(*picture);
  return 0;
}
