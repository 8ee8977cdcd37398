// Printer streams in their wire format, for the reference and for tests of readers. Shares no code
// with the filter.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

// The content of a sheet. Planes are in the filter's order: the third is sent first.
struct SheetContent {
  std::uint32_t width = 3;
  std::uint32_t height = 2;
  std::array<std::vector<std::uint8_t>, 3> plane = {
      {{1, 2, 3, 4, 5, 6}, {11, 12, 13, 14, 15, 16}, {21, 22, 23, 24, 25, 26}}};
  bool matte = false;
  std::string cutter = "00000000";
};

inline std::string wire_command(const std::string& group, const std::string& name,
                                const std::string& length) {
  std::string block = "\x1bP" + group;
  block.resize(8, ' ');
  block += name;
  block.resize(24, ' ');
  return block + length;
}

inline std::string wire_number(std::uint32_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) {
    text += static_cast<char>(value >> (8 * i) & 0xFF);
  }
  return text;
}

inline std::string wire_digits(std::uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "%08llu", static_cast<unsigned long long>(value));
  return text;
}

inline std::string wire_image(std::uint32_t width, std::uint32_t height,
                              const std::vector<std::uint8_t>& pixels) {
  std::string image = "BM" + wire_number(width * height + 1088, 4) + wire_number(0, 4) +
                      wire_number(1088, 4) + wire_number(40, 4) + wire_number(width, 4) +
                      wire_number(height, 4) + wire_number(1, 2) + wire_number(8, 2) +
                      std::string(24, '\0');
  for (int gray = 0; gray < 256; ++gray) {
    image += std::string(3, static_cast<char>(gray)) + '\0';
  }
  return image + std::string(10, '\0') + std::string(pixels.begin(), pixels.end());
}

inline std::string wire_sheet(const SheetContent& sheet) {
  std::string stream;
  const char* const names[] = {"YPLANE", "MPLANE", "CPLANE"};
  for (std::size_t i = 0; i < 3; ++i) {
    const std::string image = wire_image(sheet.width, sheet.height, sheet.plane[2 - i]);
    stream += wire_command("IMAGE", names[i], wire_digits(image.size())) + image;
  }
  if (sheet.matte) {
    stream += wire_command("CNTRL", "OVERCOAT", "00000008") + "00000001";
  }
  stream += wire_command("CNTRL", "CUTTER", "00000008") + sheet.cutter;
  return stream + wire_command("CNTRL", "START", "        ");
}
