// Binary PGM (P5) and PPM (P6): a short text header, then samples of one or two bytes.
#include <cctype>
#include <cstring>

#include "apps/image/picture_readers.h"

namespace {

// The next number of the header: blanks and comments in front are passed over, one blank behind is
// consumed. -1 when there is none, or one that no picture has.
long next_number(std::FILE* file) {
  int letter = std::getc(file);
  while (std::isspace(letter) != 0 || letter == '#') {
    if (letter == '#') {
      while (letter != '\n' && letter != EOF) {
        letter = std::getc(file);
      }
    }
    letter = std::getc(file);
  }
  constexpr long too_large = 1000000000;
  long number = -1;
  for (; std::isdigit(letter) != 0 && number < too_large; letter = std::getc(file)) {
    number = (number < 0 ? 0 : number) * 10 + (letter - '0');
  }
  return std::isspace(letter) != 0 && number < too_large ? number : -1;
}

// Widens or narrows a sample to the full range of its bits.
std::uint16_t full_range(unsigned value, unsigned maximum, unsigned full) {
  const unsigned bounded = value < maximum ? value : maximum;
  return static_cast<std::uint16_t>((bounded * std::uint64_t{full} + maximum / 2) / maximum);
}

// Turns the file's samples (big-endian where they are two bytes) into the picture's.
void normalise_row(std::uint8_t* row, std::size_t samples, unsigned maximum) {
  if (maximum <= 255) {
    for (std::size_t i = 0; i < samples && maximum != 255; ++i) {
      row[i] = static_cast<std::uint8_t>(full_range(row[i], maximum, 255));
    }
    return;
  }
  for (std::size_t i = 0; i < samples; ++i) {
    const unsigned value = static_cast<unsigned>(row[2 * i]) << 8 | row[2 * i + 1];
    const std::uint16_t sample = full_range(value, maximum, 65535);
    std::memcpy(row + 2 * i, &sample, sizeof sample);
  }
}

}  // namespace

std::optional<Picture> read_pnm(std::FILE* file, std::string& error) {
  std::getc(file);  // the P that chose this reader
  const int kind = std::getc(file);
  if (kind != '5' && kind != '6') {
    error = "only binary PGM (P5) and PPM (P6) are read";
    return std::nullopt;
  }
  const long width = next_number(file);
  const long height = next_number(file);
  const long maximum = next_number(file);
  if (width < 0 || height < 0 || maximum < 1 || maximum > 65535) {
    error = "the PPM header is broken";
    return std::nullopt;
  }
  if (!size_is_sound(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height),
                     error)) {
    return std::nullopt;
  }
  Picture picture;
  picture.width = static_cast<std::uint32_t>(width);
  picture.height = static_cast<std::uint32_t>(height);
  picture.channels = kind == '5' ? 1 : 3;
  picture.bits = maximum > 255 ? 16 : 8;
  if (!reserve_samples(picture, 0, error)) {
    return std::nullopt;
  }
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    const std::size_t start = picture.bytes.size();
    picture.bytes.resize(start + picture.row_bytes());
    std::uint8_t* row = picture.bytes.data() + start;
    if (std::fread(row, 1, picture.row_bytes(), file) != picture.row_bytes()) {
      error = "the PPM file ends early, in row " + std::to_string(y);
      return std::nullopt;
    }
    normalise_row(row, picture.row_bytes() / picture.sample_bytes(),
                  static_cast<unsigned>(maximum));
  }
  return picture;
}
