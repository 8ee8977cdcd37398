#include "tests/apps/picture_files.h"

#include <png.h>
#include <tiffio.h>

#include <algorithm>

#include <cstdio>
// jpeglib.h requires stdio.h.
#include <jpeglib.h>

#include <cstdlib>
#include <cstring>
#include <numeric>

#include "apps/image/picture.h"
#include "tests/support/child_process.h"

namespace {

void append_bytes(png_structp png, png_bytep bytes, std::size_t count) {
  static_cast<std::string*>(png_get_io_ptr(png))
      ->append(reinterpret_cast<const char*>(bytes), count);
}

void no_flush(png_structp) {}

struct PngWriter {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  std::string bytes;

  PngWriter() {
    png_set_write_fn(png, &bytes, append_bytes, no_flush);
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
  }
  ~PngWriter() { png_destroy_write_struct(&png, &info); }
  PngWriter(const PngWriter&) = delete;
  PngWriter& operator=(const PngWriter&) = delete;
};

// A TIFF structure with one entry: the orientation, a 16-bit number.
std::string exif_with_orientation(int orientation, bool little_endian) {
  const char value = static_cast<char>(orientation);
  using namespace std::string_literals;
  std::string exif = "Exif\0\0"s;
  if (little_endian) {
    exif += "II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0"s + value + "\0\0\0\0\0\0\0"s;
  } else {
    exif += "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0"s + value + "\0\0\0\0\0\0"s;
  }
  return exif;
}

}  // namespace

std::vector<std::uint8_t> numbered(std::size_t count) {
  std::vector<std::uint8_t> bytes(count);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  return bytes;
}

std::string png_file(std::uint32_t width, std::uint32_t height, const PngKind& kind,
                     const std::vector<std::uint8_t>& rows) {
  PngWriter writer;
  png_set_IHDR(writer.png, writer.info, width, height, kind.bits, kind.color_type,
               kind.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (kind.color_type == PNG_COLOR_TYPE_PALETTE) {
    const png_color palette[] = {{0, 0, 0}, {255, 0, 0}, {0, 255, 0}, {0, 0, 255}};
    const png_byte alpha[] = {255, 255, 255, 0};
    png_set_PLTE(writer.png, writer.info, palette, 4);
    png_set_tRNS(writer.png, writer.info, alpha, 4, nullptr);
  }
  if (!kind.profile.empty()) {
    png_set_option(writer.png, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
    png_set_iCCP(writer.png, writer.info, "test", PNG_COMPRESSION_TYPE_BASE, kind.profile.data(),
                 static_cast<png_uint_32>(kind.profile.size()));
  }
  png_write_info(writer.png, writer.info);
  const std::size_t row_bytes = rows.size() / height;
  std::vector<png_bytep> pointers;
  std::vector<std::uint8_t> copy = rows;
  for (std::uint32_t y = 0; y < height; ++y) {
    pointers.push_back(copy.data() + y * row_bytes);
  }
  png_write_image(writer.png, pointers.data());
  png_write_end(writer.png, nullptr);
  return writer.bytes;
}

std::string png_without_pixels(std::uint32_t width, std::uint32_t height, const PngKind& kind) {
  PngWriter writer;
  png_set_IHDR(writer.png, writer.info, width, height, kind.bits, kind.color_type,
               kind.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(writer.png, writer.info);
  using namespace std::string_literals;
  return writer.bytes + "\0\0\x10\0IDAT"s;
}

std::string jpeg_file(std::uint32_t width, std::uint32_t height, const JpegKind& kind,
                      const std::vector<std::uint8_t>& rows) {
  jpeg_compress_struct jpeg{};
  jpeg_error_mgr errors{};
  jpeg.err = jpeg_std_error(&errors);
  jpeg_create_compress(&jpeg);
  unsigned char* memory = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&jpeg, &memory, &size);
  jpeg.image_width = width;
  jpeg.image_height = height;
  jpeg.input_components = kind.channels;
  jpeg.in_color_space = kind.channels == 1   ? JCS_GRAYSCALE
                        : kind.channels == 3 ? JCS_RGB
                                             : JCS_CMYK;
  jpeg_set_defaults(&jpeg);
  jpeg_set_quality(&jpeg, 100, TRUE);
  if (kind.progressive) {
    jpeg_simple_progression(&jpeg);
  }
  jpeg.arith_code = kind.arithmetic ? TRUE : FALSE;
  jpeg_start_compress(&jpeg, TRUE);
  if (kind.orientation != 0) {
    const std::string exif = exif_with_orientation(kind.orientation, kind.little_endian);
    jpeg_write_marker(&jpeg, JPEG_APP0 + 1, reinterpret_cast<const JOCTET*>(exif.data()),
                      static_cast<unsigned>(exif.size()));
  }
  if (!kind.profile.empty()) {
    jpeg_write_icc_profile(&jpeg, kind.profile.data(), static_cast<unsigned>(kind.profile.size()));
  }
  std::vector<std::uint8_t> copy = rows;
  for (std::uint32_t y = 0; y < height; ++y) {
    JSAMPROW row = copy.data() + y * (rows.size() / height);
    jpeg_write_scanlines(&jpeg, &row, 1);
  }
  jpeg_finish_compress(&jpeg);
  std::string bytes(reinterpret_cast<const char*>(memory), size);
  jpeg_destroy_compress(&jpeg);
  std::free(memory);
  return bytes;
}

std::vector<std::uint8_t> profile_for(const char* space) {
  std::vector<std::uint8_t> profile(400, 0);
  for (std::size_t i = 132; i < profile.size(); ++i) {
    profile[i] = static_cast<std::uint8_t>(i * i);
  }
  profile[2] = 400 >> 8;  // size
  profile[3] = 400 & 0xFF;
  profile[8] = 2;                               // version
  std::memcpy(profile.data() + 12, "mntr", 4);  // class
  std::memcpy(profile.data() + 16, space, 4);   // color space
  std::memcpy(profile.data() + 20, "XYZ ", 4);  // connection space
  std::memcpy(profile.data() + 36, "acsp", 4);  // signature
  const std::uint8_t d50[] = {0, 0, 0xf6, 0xd6, 0, 1, 0, 0, 0, 0, 0xd3, 0x2d};
  std::memcpy(profile.data() + 68, d50, sizeof d50);  // illuminant
  return profile;
}

std::string tiff_file(const k905::Picture& picture, int orientation) {
  const ScratchFolder folder;
  const std::string path = folder.path() + "/x.tif";
  TIFF* tiff = TIFFOpen(path.c_str(), "w");
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, picture.width);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, picture.height);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, picture.channels);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, picture.bits);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_ORIENTATION, orientation);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 64);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC,
               picture.channels == 1   ? PHOTOMETRIC_MINISBLACK
               : picture.channels == 4 ? PHOTOMETRIC_SEPARATED
                                       : PHOTOMETRIC_RGB);
  if (!picture.icc_profile.empty()) {
    TIFFSetField(tiff, TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(picture.icc_profile.size()),
                 picture.icc_profile.data());
  }
  std::vector<std::uint8_t> row(picture.row_bytes());
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    std::copy_n(picture.bytes.begin() + static_cast<std::ptrdiff_t>(y * row.size()), row.size(),
                row.begin());
    TIFFWriteScanline(tiff, row.data(), y, 0);
  }
  TIFFClose(tiff);
  return folder.read("x.tif").value_or("");
}
