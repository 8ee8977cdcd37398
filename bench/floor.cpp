// floor keep WIDTH HEIGHT COPIES
//
// floor keep_icc WIDTH HEIGHT COPIES SOURCE.icc TARGET.icc
//
// The lower bound for any filter of this kind: reads a raster stream from standard input with
// libcups, holds three planes of WIDTH x HEIGHT bytes for each page (the complete page must be read
// before the first byte may be sent) and writes as many bytes in the same blocks as a sheet has,
// with meaningless pixels. `keep_icc` also converts every pixel with a Little CMS transform.
#include <cups/raster.h>
#include <lcms2.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr std::size_t kBlockBytes = 32;
constexpr std::size_t kImageHeader = 1088;
constexpr std::size_t kReadAtOnce = std::size_t{64} * 1024;

struct FreeDeleter {
  void operator()(void* memory) const noexcept { std::free(memory); }
};
using Memory = std::unique_ptr<unsigned char[], FreeDeleter>;

Memory reserve(std::size_t bytes) {
  Memory memory(static_cast<unsigned char*>(std::malloc(bytes)));
  if (!memory) std::_Exit(2);
  return memory;
}

// The three images of a sheet, each with room for its header in front.
struct Sheet {
  std::size_t plane_bytes;
  Memory image[3];
  std::size_t filled = 0;

  // A third of `bytes` to each plane; excess bytes are dropped.
  void take(const unsigned char* bytes, std::size_t count) {
    const std::size_t share = std::min(count / 3, plane_bytes - filled);
    for (std::size_t c = 0; c < 3; ++c) {
      std::memcpy(image[c].get() + kImageHeader + filled, bytes + c * share, share);
    }
    filled += share;
  }

  void fill_up() {
    for (Memory& plane : image) {
      std::memset(plane.get() + kImageHeader + filled, 255, plane_bytes - filled);
    }
    filled = 0;
  }
};

void write_all(const unsigned char* bytes, std::size_t count) {
  for (std::size_t done = 0; done < count;) {
    const ssize_t written = write(STDOUT_FILENO, bytes + done, count - done);
    if (written <= 0) std::_Exit(3);
    done += static_cast<std::size_t>(written);
  }
}

void send(const Sheet& sheet) {
  unsigned char block[40];
  std::memset(block, ' ', sizeof block);
  for (const Memory& image : sheet.image) {
    write_all(block, kBlockBytes);
    write_all(image.get(), kImageHeader + sheet.plane_bytes);
  }
  write_all(block, sizeof block);
  write_all(block, kBlockBytes);
  fsync(STDOUT_FILENO);
}

struct Conversion {
  cmsHTRANSFORM transform = nullptr;
  std::size_t bytes_per_pixel = 3;
  Memory row;
};

Conversion make_conversion(const char* source_path, const char* target_path) {
  const cmsHPROFILE source = cmsOpenProfileFromFile(source_path, "r");
  const cmsHPROFILE target = cmsOpenProfileFromFile(target_path, "r");
  if (source == nullptr || target == nullptr) std::_Exit(4);
  const bool inks = cmsGetColorSpace(target) == cmsSigCmykData;
  Conversion conversion;
  conversion.transform = cmsCreateTransform(source, TYPE_RGB_8, target,
                                            inks ? TYPE_CMYK_8 : TYPE_RGB_8, INTENT_PERCEPTUAL, 0);
  conversion.bytes_per_pixel = inks ? 4 : 3;
  cmsCloseProfile(target);
  cmsCloseProfile(source);
  if (conversion.transform == nullptr) std::_Exit(4);
  return conversion;
}

void read_page(cups_raster_t* raster, const cups_page_header2_t& header, Sheet& sheet,
               Conversion& conversion) {
  const std::size_t line_bytes = header.cupsBytesPerLine;
  const std::size_t lines_at_once = std::max<std::size_t>(1, kReadAtOnce / line_bytes);
  const Memory lines = reserve(lines_at_once * line_bytes);
  if (conversion.transform != nullptr) {
    conversion.row = reserve(conversion.bytes_per_pixel * header.cupsWidth);
  }
  for (std::size_t y = 0; y < header.cupsHeight;) {
    const std::size_t count = std::min(lines_at_once, header.cupsHeight - y);
    if (cupsRasterReadPixels(raster, lines.get(), static_cast<unsigned>(count * line_bytes)) == 0) {
      std::_Exit(5);
    }
    for (std::size_t i = 0; i < count; ++i) {
      const unsigned char* line = lines.get() + i * line_bytes;
      if (conversion.transform != nullptr) {
        cmsDoTransform(conversion.transform, line, conversion.row.get(), header.cupsWidth);
        line = conversion.row.get();
      }
      sheet.take(line, line_bytes);
    }
    y += count;
  }
  sheet.fill_up();
}

}  // namespace

int main(int argc, char** argv) {
  const bool icc = argc == 7 && std::strcmp(argv[1], "keep_icc") == 0;
  if (!icc && (argc != 5 || std::strcmp(argv[1], "keep") != 0)) {
    std::fprintf(stderr,
                 "usage: floor keep|keep_icc WIDTH HEIGHT COPIES [SOURCE.icc TARGET.icc]\n");
    return 1;
  }
  Sheet sheet{
      .plane_bytes = std::strtoul(argv[2], nullptr, 10) * std::strtoul(argv[3], nullptr, 10),
      .image = {}};
  const unsigned long copies = std::strtoul(argv[4], nullptr, 10);
  for (Memory& image : sheet.image) image = reserve(kImageHeader + sheet.plane_bytes);
  Conversion conversion;
  if (icc) conversion = make_conversion(argv[5], argv[6]);

  cups_raster_t* raster = cupsRasterOpen(STDIN_FILENO, CUPS_RASTER_READ);
  if (raster == nullptr) return 1;
  cups_page_header2_t header;
  while (cupsRasterReadHeader2(raster, &header) != 0) {
    read_page(raster, header, sheet, conversion);
    for (unsigned long copy = 0; copy < copies; ++copy) send(sheet);
  }
  cupsRasterClose(raster);
  if (conversion.transform != nullptr) cmsDeleteTransform(conversion.transform);
  return 0;
}
