// Helper of the end-to-end test: parses a captured printer stream with the parser of the programs
// and prints the content of each sheet as JSON. Also converts images to other formats.
//
//   cups_probe sheets STREAM [X,Y]...   colors at these positions, in fractions of the sheet
//   cups_probe picture PNG [X,Y]...     the same for a sheet that the simulated printer stored
//   cups_probe photo PICTURE OUTPUT     converts to JPEG, TIFF or WebP, by the suffix of OUTPUT
//   cups_probe pwg|urf OUTPUT COPIES PICTURE...   raster as phones send it, at 300 dpi
#include <cups/raster.h>
#include <fcntl.h>
#include <unistd.h>
#include <vips/vips.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "apps/image/photo.h"
#include "apps/image/sheet_picture.h"
#include "apps/layout/raster_writer.h"
#include "apps/wire/printer_stream.h"
#include "apps/wire/stream_dump.h"

namespace {

struct Place {
  double x;
  double y;
};

struct Box {
  std::uint32_t left;
  std::uint32_t top;
  std::uint32_t right;  // one after the last, like bottom
  std::uint32_t bottom;
};

const std::uint8_t* pixel(const k905::Picture& picture, std::uint32_t x, std::uint32_t y) {
  return &picture.bytes[(std::size_t{y} * picture.width + x) * 3];
}

// The bounding box of the pixels that are not lighter than `lightest`: 254 excludes only the white
// of the paper.
Box printed_box(const k905::Picture& picture, std::uint8_t lightest) {
  Box box{picture.width, picture.height, 0, 0};
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    for (std::uint32_t x = 0; x < picture.width; ++x) {
      const std::uint8_t* p = pixel(picture, x, y);
      if (std::min({p[0], p[1], p[2]}) > lightest) continue;
      box = {std::min(box.left, x), std::min(box.top, y), std::max(box.right, x + 1),
             std::max(box.bottom, y + 1)};
    }
  }
  return box;
}

// The mean over a small square, so that noise in the image has no effect.
void print_color(const k905::Picture& picture, Place place) {
  constexpr int reach = 6;
  const int column = static_cast<int>(place.x * picture.width);
  const int row = static_cast<int>(place.y * picture.height);
  long sum[3] = {};
  long count = 0;
  for (int y = row - reach; y <= row + reach; ++y) {
    for (int x = column - reach; x <= column + reach; ++x) {
      if (x < 0 || y < 0 || x >= static_cast<int>(picture.width) ||
          y >= static_cast<int>(picture.height)) {
        continue;
      }
      const std::uint8_t* p =
          pixel(picture, static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y));
      for (int channel = 0; channel < 3; ++channel) sum[channel] += p[channel];
      ++count;
    }
  }
  count = std::max(count, 1L);  // a position outside the sheet is black
  std::printf("[%ld, %ld, %ld]", sum[0] / count, sum[1] / count, sum[2] / count);
}

// The members of a JSON object, without its braces.
void print_picture(const k905::Picture& picture, const std::vector<Place>& places) {
  const Box box = printed_box(picture, 254);
  const Box dark = printed_box(picture, 127);
  std::printf(
      "\"width\": %u, \"height\": %u, \"printed\": [%u, %u, %u, %u], "
      "\"dark\": [%u, %u, %u, %u], \"colors\": [",
      picture.width, picture.height, box.left, box.top, box.right, box.bottom, dark.left, dark.top,
      dark.right, dark.bottom);
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (i > 0) std::printf(", ");
    print_color(picture, places[i]);
  }
  std::printf("]");
}

void print_sheet(const k905::Sheet& sheet, const std::vector<Place>& places) {
  std::printf("{\"matte\": %s, \"cutter\": %u, \"size\": %llu, ", sheet.matte ? "true" : "false",
              sheet.cutter, static_cast<unsigned long long>(sheet.size));
  print_picture(sheet_picture(sheet, k905::Mirror::undo), places);
  std::printf("}");
}

std::string quoted(const std::string& text) {
  std::string quote = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quote += '\\';
    quote += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
  }
  return quote + "\"";
}

int show_sheets(const char* path, const std::vector<Place>& places) {
  std::ifstream in(path, std::ios::binary);
  const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), {});
  const k905::ParsedStream stream = k905::parse_printer_stream(bytes.data(), bytes.size());
  std::printf("{\"bytes\": %zu, \"error\": %s, \"sheets\": [", bytes.size(),
              stream.error ? quoted(describe(*stream.error)).c_str() : "null");
  for (std::size_t i = 0; i < stream.sheets.size(); ++i) {
    if (i > 0) std::printf(",\n");
    print_sheet(stream.sheets[i], places);
  }
  std::printf("]}\n");
  return in.bad() ? 1 : 0;
}

int show_picture(const char* path, const std::vector<Place>& places) {
  std::string error;
  const auto picture = k905::read_photo(path, error);
  if (!picture || picture->channels != 3 || picture->bits != 8) {
    std::cerr << "cups_probe: " << path << ": " << error << "\n";
    return 1;
  }
  std::printf("{");
  print_picture(*picture, places);
  std::printf("}\n");
  return 0;
}

// Converts the image to the format of the suffix of `to`.
int write_photo(const char* from, const std::string& to) {
  VipsImage* image = vips_image_new_from_file(from, nullptr);
  const bool written =
      image != nullptr && vips_image_write_to_file(image, (to + "[Q=95]").c_str(), nullptr) == 0;
  if (!written) std::cerr << "cups_probe: " << from << ": " << vips_error_buffer() << "\n";
  if (image != nullptr) g_object_unref(image);
  return written ? 0 : 1;
}

bool write_page(cups_raster_t* raster, const k905::Picture& picture, unsigned pages,
                unsigned copies) {
  cups_page_header2_t header = k905::rgb_page_header({picture.width, picture.height}, 300);
  header.PageSize[0] = picture.width * 72 / 300;
  header.PageSize[1] = picture.height * 72 / 300;
  header.NumCopies = copies;
  header.cupsColorSpace = CUPS_CSPACE_SRGB;
  header.cupsInteger[CUPS_RASTER_PWG_TotalPageCount] = pages;
  bool written = cupsRasterWriteHeader2(raster, &header) != 0;
  for (std::uint32_t y = 0; written && y < picture.height; ++y) {
    auto* row = const_cast<std::uint8_t*>(pixel(picture, 0, y));
    written = cupsRasterWritePixels(raster, row, header.cupsBytesPerLine) != 0;
  }
  return written;
}

// A raster document as phones send it: a page for each picture, with `copies` in every header.
int write_raster(cups_mode_t mode, const char* to, unsigned copies,
                 const std::vector<const char*>& pictures) {
  const int file = open(to, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  cups_raster_t* raster = cupsRasterOpen(file, mode);
  bool written = raster != nullptr;
  for (const char* from : pictures) {
    std::string error;
    const auto picture = k905::read_photo(from, error);
    written = written && picture && picture->channels == 3 && picture->bits == 8 &&
              write_page(raster, *picture, static_cast<unsigned>(pictures.size()), copies);
    if (!written) std::cerr << "cups_probe: " << from << ": " << error << "\n";
  }
  cupsRasterClose(raster);
  return close(file) == 0 && written ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "";
  if (VIPS_INIT(argv[0]) != 0) return 1;
  if (command == "photo" && argc == 4) return write_photo(argv[2], argv[3]);
  if ((command == "pwg" || command == "urf") && argc > 4) {
    const cups_mode_t mode = command == "pwg" ? CUPS_RASTER_WRITE_PWG : CUPS_RASTER_WRITE_APPLE;
    const auto copies = static_cast<unsigned>(std::strtoul(argv[3], nullptr, 10));
    return write_raster(mode, argv[2], copies, {argv + 4, argv + argc});
  }
  if ((command != "sheets" && command != "picture") || argc < 3) {
    std::cerr << "usage: cups_probe sheets STREAM [X,Y]... | picture PNG [X,Y]... | photo PICTURE "
                 "OUTPUT | "
                 "pwg|urf OUTPUT COPIES PICTURE...\n";
    return 2;
  }
  std::vector<Place> places;
  for (int i = 3; i < argc; ++i) {
    char* end = nullptr;
    const double x = std::strtod(argv[i], &end);
    const double y = *end == ',' ? std::strtod(end + 1, nullptr) : 0.0;
    places.push_back({x, y});
  }
  return command == "sheets" ? show_sheets(argv[2], places) : show_picture(argv[2], places);
}
