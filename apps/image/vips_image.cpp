#include "apps/image/vips_image.h"

#include <algorithm>

namespace k905 {

using vips::VImage;

namespace {

constexpr int kMaxThreads = 2;

// Warnings of libvips would be mixed with the program's own messages.
GLogWriterOutput discard_log(GLogLevelFlags, const GLogField*, gsize, gpointer) {
  return G_LOG_WRITER_HANDLED;
}

bool start() {
  if (vips_init("k905") != 0) {
    throw vips::VError("libvips cannot be started");
  }
  g_log_set_writer_func(discard_log, nullptr, nullptr);
  vips_cache_set_max(0);  // every photo is decoded once
  // More threads keep more rows in memory, and the decoder uses only one thread.
  vips_concurrency_set(std::min(vips_concurrency_get(), kMaxThreads));
  vips_block_untrusted_set(TRUE);
  // PPM files are printed, too; photo.cpp checks their headers and sizes before the loader runs.
  vips_operation_block_set("VipsForeignLoadPpm", FALSE);
  return true;
}

}  // namespace

void start_vips() {
  static const bool started = start();
  static_cast<void>(started);
}

std::string reason_of(const vips::VError& error) {
  std::string text = error.what();
  vips_error_clear();
  text.resize(std::min(text.find('\n'), text.size()));
  const std::size_t colon = text.find(": ");
  text = colon == std::string::npos ? text : text.substr(colon + 2);
  return text.empty() ? "the file is malformed" : text;
}

VImage vips_image_over(const Picture& picture) {
  start_vips();
  VipsImage* image = vips_image_new_from_memory(
      picture.bytes.data(), picture.bytes.size(), static_cast<int>(picture.width),
      static_cast<int>(picture.height), picture.channels,
      picture.bits == 16 ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR);
  if (image == nullptr) {
    throw vips::VError();
  }
  return VImage(image);
}

Picture rendered(const VImage& in) {
  Picture picture;
  picture.width = static_cast<std::uint32_t>(in.width());
  picture.height = static_cast<std::uint32_t>(in.height());
  picture.channels = in.bands();
  picture.bits = has_wide_samples(in) ? 16 : 8;
  picture.bytes.resize(picture.row_bytes() * picture.height);
  in.write(vips_image_over(picture));
  return picture;
}

VImage scaled_exactly(const VImage& in, PixelSize size) {
  const auto scale = [](int from, std::uint32_t to) { return static_cast<double>(to) / from; };
  const auto width = static_cast<int>(size.width);
  const auto height = static_cast<int>(size.height);
  const VImage smaller =
      in.resize(std::min(1.0, scale(in.width(), size.width)),
                VImage::option()->set("vscale", std::min(1.0, scale(in.height(), size.height))));
  // libvips rounds the size; the page needs exactly these pixels.
  VImage exact =
      smaller.embed(0, 0, std::min(smaller.width(), width), std::min(smaller.height(), height),
                    VImage::option()->set("extend", VIPS_EXTEND_COPY));
  if (exact.width() == width && exact.height() == height) {
    return exact;
  }
  // Not vips_resize(): when it enlarges an image, it shifts the image by half a pixel.
  return exact.affine({scale(exact.width(), size.width), 0, 0, scale(exact.height(), size.height)},
                      VImage::option()
                          ->set("interpolate", vips::VInterpolate::new_from_name("bicubic"))
                          ->set("oarea", std::vector<int>{0, 0, width, height})
                          ->set("idx", 0.5)
                          ->set("idy", 0.5)
                          ->set("odx", -0.5)
                          ->set("ody", -0.5)
                          ->set("extend", VIPS_EXTEND_COPY));
}

}  // namespace k905
