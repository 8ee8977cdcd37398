// Picture files of many kinds, made in memory by the libraries themselves.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct PngKind {
  int color_type = 2;  // PNG's own number: 0 gray, 2 color, 3 palette, 4 and 6 with alpha
  int bits = 8;
  bool interlaced = false;
  std::vector<std::uint8_t> profile{};
};

// `rows` holds the samples as they are in the file: packed, 16 bits high byte first. A palette is
// black, red, green, blue, the last one transparent.
std::string png_file(std::uint32_t width, std::uint32_t height, const PngKind& kind,
                     const std::vector<std::uint8_t>& rows);

// A right PNG header that promises any size, and the beginning of pixels that never come.
std::string png_without_pixels(std::uint32_t width, std::uint32_t height, const PngKind& kind = {});

struct JpegKind {
  int channels = 3;  // 1 gray, 3 color, 4 inks (with Adobe's mark, which means 255 is no ink)
  bool progressive = false;
  bool arithmetic = false;    // coded so; otherwise by Huffman
  int orientation = 0;        // 0: no EXIF
  bool little_endian = true;  // of the EXIF
  std::vector<std::uint8_t> profile{};
};
std::string jpeg_file(std::uint32_t width, std::uint32_t height, const JpegKind& kind,
                      const std::vector<std::uint8_t>& rows);

// 400 bytes that look like a profile for "RGB ", "GRAY" or "CMYK" pictures.
std::vector<std::uint8_t> profile_for(const char* space);

struct Picture;
// The picture with its profile, to be shown as EXIF's `orientation` says.
std::string tiff_file(const Picture& picture, int orientation);
