// Eyes for the end-to-end test: reads a captured printer stream with the programs' parser and
// says what is on each sheet, as JSON. Also turns a picture into a JPEG file.
//
//   cups_probe sheets STREAM [X,Y]...   colours at these places, in fractions of the sheet
//   cups_probe picture PNG [X,Y]...     the same of a sheet that the simulated printer kept
//   cups_probe jpeg PICTURE OUTPUT
//   cups_probe pwg|urf PICTURE OUTPUT [PAGES [COPIES]]   raster as phones send it, at 300 dpi
#include <cups/raster.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

// jpeglib.h leaves it to others to define size_t and FILE.
#include <jpeglib.h>

#include "apps/image/photo.h"
#include "apps/image/sheet_picture.h"
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
  std::uint32_t right;  // one behind the last, as is bottom
  std::uint32_t bottom;
};

const std::uint8_t* pixel(const Picture& picture, std::uint32_t x, std::uint32_t y) {
  return &picture.bytes[(std::size_t{y} * picture.width + x) * 3];
}

// What is no lighter than `lightest`: 254 is all but the white of bare paper.
Box printed_box(const Picture& picture, std::uint8_t lightest) {
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

// The mean over a small square, so that a picture's noise does not matter.
void print_colour(const Picture& picture, Place place) {
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
  count = std::max(count, 1L);  // a place beside the sheet is black
  std::printf("[%ld, %ld, %ld]", sum[0] / count, sum[1] / count, sum[2] / count);
}

// The members of a JSON object, without its braces.
void print_picture(const Picture& picture, const std::vector<Place>& places) {
  const Box box = printed_box(picture, 254);
  const Box dark = printed_box(picture, 127);
  std::printf(
      "\"width\": %u, \"height\": %u, \"printed\": [%u, %u, %u, %u], "
      "\"dark\": [%u, %u, %u, %u], \"colours\": [",
      picture.width, picture.height, box.left, box.top, box.right, box.bottom, dark.left, dark.top,
      dark.right, dark.bottom);
  for (std::size_t i = 0; i < places.size(); ++i) {
    if (i > 0) std::printf(", ");
    print_colour(picture, places[i]);
  }
  std::printf("]");
}

void print_sheet(const Sheet& sheet, const std::vector<Place>& places) {
  std::printf("{\"matte\": %s, \"cutter\": %u, \"size\": %llu, ", sheet.matte ? "true" : "false",
              sheet.cutter, static_cast<unsigned long long>(sheet.size));
  print_picture(sheet_picture(sheet, Mirror::undo), places);
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
  const ParsedStream stream = parse_printer_stream(bytes.data(), bytes.size());
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

int write_jpeg(const char* from, const char* to) {
  std::string error;
  const auto picture = k905::read_photo(from, error);
  if (!picture || picture->channels != 3 || picture->bits != 8) {
    std::cerr << "cups_probe: " << from << ": " << error << "\n";
    return 1;
  }
  std::FILE* file = std::fopen(to, "wb");
  if (file == nullptr) return 1;
  jpeg_compress_struct jpeg{};
  jpeg_error_mgr errors{};
  jpeg.err = jpeg_std_error(&errors);
  jpeg_create_compress(&jpeg);
  jpeg_stdio_dest(&jpeg, file);
  jpeg.image_width = picture->width;
  jpeg.image_height = picture->height;
  jpeg.input_components = 3;
  jpeg.in_color_space = JCS_RGB;
  jpeg_set_defaults(&jpeg);
  jpeg_set_quality(&jpeg, 95, TRUE);
  jpeg_start_compress(&jpeg, TRUE);
  while (jpeg.next_scanline < jpeg.image_height) {
    // libjpeg takes rows it does not change through a pointer that would let it.
    auto* row = const_cast<JSAMPLE*>(pixel(*picture, 0, jpeg.next_scanline));
    jpeg_write_scanlines(&jpeg, &row, 1);
  }
  jpeg_finish_compress(&jpeg);
  jpeg_destroy_compress(&jpeg);
  return std::fclose(file) == 0 ? 0 : 1;
}

// A raster document as phones send it: the picture on each of `pages` pages, a darker one on each
// later page, with `copies` in every header.
int write_raster(cups_mode_t mode, const char* from, const char* to, unsigned pages,
                 unsigned copies) {
  std::string error;
  auto picture = k905::read_photo(from, error);
  if (!picture || picture->channels != 3 || picture->bits != 8) {
    std::cerr << "cups_probe: " << from << ": " << error << "\n";
    return 1;
  }
  const int file = open(to, O_WRONLY | O_CREAT | O_TRUNC, 0644);
  cups_raster_t* raster = cupsRasterOpen(file, mode);
  cups_page_header2_t header{};
  header.HWResolution[0] = header.HWResolution[1] = 300;
  header.PageSize[0] = picture->width * 72 / 300;
  header.PageSize[1] = picture->height * 72 / 300;
  header.NumCopies = copies;
  header.cupsWidth = picture->width;
  header.cupsHeight = picture->height;
  header.cupsBitsPerColor = 8;
  header.cupsBitsPerPixel = 24;
  header.cupsBytesPerLine = 3 * picture->width;
  header.cupsColorSpace = CUPS_CSPACE_SRGB;
  header.cupsNumColors = 3;
  header.cupsInteger[CUPS_RASTER_PWG_TotalPageCount] = pages;
  bool written = true;
  for (unsigned page = 0; written && page < pages; ++page) {
    written = cupsRasterWriteHeader2(raster, &header) != 0;
    for (std::uint32_t y = 0; written && y < picture->height; ++y) {
      auto* row = const_cast<std::uint8_t*>(pixel(*picture, 0, y));
      written = cupsRasterWritePixels(raster, row, header.cupsBytesPerLine) != 0;
    }
    for (std::uint8_t& byte : picture->bytes) byte /= 2;
  }
  cupsRasterClose(raster);
  return close(file) == 0 && written ? 0 : 1;
}

unsigned number(char** argument) {
  return *argument == nullptr ? 1 : static_cast<unsigned>(std::strtoul(*argument, nullptr, 10));
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "";
  if (command == "jpeg" && argc == 4) return write_jpeg(argv[2], argv[3]);
  if ((command == "pwg" || command == "urf") && argc >= 4) {
    const cups_mode_t mode = command == "pwg" ? CUPS_RASTER_WRITE_PWG : CUPS_RASTER_WRITE_APPLE;
    const bool has_copies = argc > 5;
    return write_raster(mode, argv[2], argv[3], number(argv + 4),
                        has_copies ? number(argv + 5) : 1);
  }
  if ((command != "sheets" && command != "picture") || argc < 3) {
    std::cerr << "usage: cups_probe sheets STREAM [X,Y]... | picture PNG [X,Y]... | jpeg FROM TO | "
                 "pwg|urf FROM TO [PAGES [COPIES]]\n";
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
