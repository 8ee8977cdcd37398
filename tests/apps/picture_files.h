// Image files of many formats, created in memory by the libraries of the formats.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// 0, 1, 2 and so on, as samples.
std::vector<std::uint8_t> numbered(std::size_t count);

struct PngKind {
  int color_type = 2;  // the number in PNG: 0 gray, 2 color, 3 palette, 4 and 6 with alpha
  int bits = 8;
  bool interlaced = false;
  std::vector<std::uint8_t> profile{};
};

// `rows` contains the samples as they are in the file: packed, 16-bit samples with the high byte
// first. A palette is black, red, green, blue; the last entry is transparent.
std::string png_file(std::uint32_t width, std::uint32_t height, const PngKind& kind,
                     const std::vector<std::uint8_t>& rows);

// A valid PNG header with any size, followed by only the beginning of the pixels.
std::string png_without_pixels(std::uint32_t width, std::uint32_t height, const PngKind& kind = {});

struct JpegKind {
  int channels = 3;  // 1 gray, 3 color, 4 inks (with an Adobe marker: 255 is no ink)
  bool progressive = false;
  bool arithmetic = false;    // arithmetic coding; otherwise Huffman
  int orientation = 0;        // 0: no EXIF
  bool little_endian = true;  // of the EXIF
  std::vector<std::uint8_t> profile{};
};
std::string jpeg_file(std::uint32_t width, std::uint32_t height, const JpegKind& kind,
                      const std::vector<std::uint8_t>& rows);

// 400 bytes that look like a profile for "RGB ", "GRAY" or "CMYK" images.
std::vector<std::uint8_t> profile_for(const char* space);

namespace k905 {
struct Picture;
}  // namespace k905
// The image with its profile and this EXIF orientation.
std::string tiff_file(const k905::Picture& picture, int orientation);
