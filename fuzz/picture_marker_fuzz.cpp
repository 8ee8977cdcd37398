// What a picture carries beside its pixels: the orientation that the camera noted, held against a
// second reading of the same bytes, and colour profiles, of pictures and of printers.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "apps/image/profile_conversion.h"
#include "apps/image/read_picture.h"
#include "fuzz/expect.h"
#include "fuzz/memory_file.h"
#include "tests/apps/picture_files.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// The bytes from `at` on as a number; nothing when they are not all there.
std::optional<std::uint64_t> number(const Bytes& tiff, std::uint64_t at, std::uint64_t count) {
  if (at + count > tiff.size()) return std::nullopt;
  Bytes bytes(tiff.begin() + static_cast<std::ptrdiff_t>(at),
              tiff.begin() + static_cast<std::ptrdiff_t>(at + count));
  if (tiff[0] == 'I') std::reverse(bytes.begin(), bytes.end());
  std::uint64_t value = 0;
  for (const std::uint8_t byte : bytes) value = value * 256 + byte;
  return value;
}

// Of the first entry that tells an orientation; 1 for every other answer.
int orientation_of(const Bytes& tiff) {
  const std::uint64_t directory = number(tiff, 4, 4).value_or(0);
  const std::uint64_t entries = number(tiff, directory, 2).value_or(0);
  for (std::uint64_t entry = 0; entry < entries; ++entry) {
    const std::uint64_t at = directory + 2 + entry * 12;
    if (number(tiff, at, 2) == 0x0112U) {
      const std::uint64_t told = number(tiff, at + 8, 2).value_or(1);
      return told >= 1 && told <= 8 ? static_cast<int>(told) : 1;
    }
  }
  return 1;
}

// A JPEG of 3 x 2 pixels whose second marker carries the bytes.
std::string jpeg_with_exif(const Bytes& tiff) {
  static const std::string plain = jpeg_file(3, 2, {}, Bytes(18, 128));
  const std::size_t length = tiff.size() + 8;
  std::string marker = "\xff\xe1";
  marker += static_cast<char>(length / 256);
  marker += static_cast<char>(length % 256);
  marker += std::string("Exif\0\0", 6) + std::string(tiff.begin(), tiff.end());
  return plain.substr(0, 2) + marker + plain.substr(2);
}

void read_orientation(Bytes tiff) {
  constexpr std::size_t most = 65000;
  tiff.resize(std::min(tiff.size(), most));
  const std::string jpeg = jpeg_with_exif(tiff);
  const MemoryFile file(jpeg.data(), jpeg.size());
  std::string error;
  const std::optional<Picture> picture = read_picture(file.path(), error);
  expect(picture.has_value(), "a marker never costs the picture");
  expect(picture->orientation == orientation_of(tiff), "the orientation, read in another way");
  expect((upright(*picture).width == 2) == (picture->orientation >= 5), "turned as it says");
}

Picture picture_with(const Bytes& profile, int channels, int bits) {
  Picture picture;
  picture.width = 5;
  picture.height = 3;
  picture.channels = channels;
  picture.bits = bits;
  picture.icc_profile = profile;
  picture.bytes.resize(picture.row_bytes() * picture.height);
  for (std::size_t i = 0; i < picture.bytes.size(); ++i) {
    picture.bytes[i] = static_cast<std::uint8_t>(37 * i);
  }
  return picture;
}

void convert(const Bytes& profile) {
  for (const int channels : {1, 3, 4}) {
    for (const int bits : {8, 16}) {
      if (channels == 4 && bits == 16) continue;  // no reader gives these
      const Picture original = picture_with(profile, channels, bits);
      Picture first = original;
      Picture second = original;
      std::string error;
      const bool converted = convert_to_srgb(first, error);
      expect(convert_to_srgb(second, error) == converted, "the same outcome");
      expect(first.bytes == second.bytes, "the same colours");
      if (converted && !profile.empty()) {
        expect(first.channels == 3 && first.bits == bits && first.icc_profile.empty(), "sRGB");
        expect(first.bytes.size() == std::size_t{15} * 3 * first.sample_bytes(), "every pixel");
      } else {
        expect(first.bytes == original.bytes && first.channels == channels, "left untouched");
      }
    }
  }
}

void proof(const Bytes& profile) {
  const MemoryFile file(profile.data(), profile.size());
  const ProofProfile printer(file.path());
  expect(printer.ok() == printer.error().empty(), "a profile, or a reason");
  if (!printer.ok()) return;
  Picture sheet = picture_with({}, 3, 8);
  const std::size_t size = sheet.bytes.size();
  printer.show(sheet);
  expect(sheet.bytes.size() == size, "a sheet keeps its size");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const Bytes rest(data + 1, data + size);
  switch (data[0] % 3) {
    case 0:
      read_orientation(rest);
      break;
    case 1:
      convert(rest);
      break;
    default:
      proof(rest);
  }
  return 0;
}
