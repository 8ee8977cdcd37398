// Color profiles of photos and of printers.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "apps/image/profile_conversion.h"
#include "fuzz/expect.h"
#include "fuzz/memory_file.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

k905::Picture picture_with(const Bytes& profile, int channels, int bits) {
  k905::Picture picture;
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
      const k905::Picture original = picture_with(profile, channels, bits);
      k905::Picture first = original;
      k905::Picture second = original;
      std::string error;
      const bool converted = convert_to_srgb(first, error);
      expect(convert_to_srgb(second, error) == converted, "the same outcome");
      expect(first.bytes == second.bytes, "the same colors");
      if (converted && !profile.empty()) {
        expect(first.channels == 3 && first.bits == bits && first.icc_profile.empty(), "sRGB");
        expect(first.bytes.size() == std::size_t{15} * 3 * first.sample_bytes(), "every pixel");
      } else {
        expect(first.bytes == original.bytes && first.channels == channels,
               "the image is unchanged");
      }
    }
  }
}

void proof(const Bytes& profile) {
  const MemoryFile file(profile.data(), profile.size());
  const k905::ProofProfile printer(file.path());
  expect(printer.ok() == printer.error().empty(), "a profile, or a reason");
  if (!printer.ok()) return;
  k905::Picture sheet = picture_with({}, 3, 8);
  const std::size_t size = sheet.bytes.size();
  printer.convert_to_screen(sheet);
  expect(sheet.bytes.size() == size, "a sheet keeps its size");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const Bytes rest(data + 1, data + size);
  if (data[0] % 3 == 1) {
    convert(rest);
  } else {
    proof(rest);
  }
  return 0;
}
