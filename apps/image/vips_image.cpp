// The start of libvips.
#include "apps/image/vips_image.h"

#include <algorithm>

namespace k905 {

namespace {

constexpr int kMostThreads = 2;

// Warnings of libvips would be mixed with the program's own messages.
GLogWriterOutput discard_log(GLogLevelFlags, const GLogField*, gsize, gpointer) {
  return G_LOG_WRITER_HANDLED;
}

bool start() {
  if (vips_init("k905") != 0) {
    return false;
  }
  g_log_set_writer_func(discard_log, nullptr, nullptr);
  vips_cache_set_max(0);  // every photo is decoded once
  // More threads keep more rows in memory, and the decoder uses only one thread.
  vips_concurrency_set(std::min(vips_concurrency_get(), kMostThreads));
  vips_block_untrusted_set(TRUE);
  vips_operation_block_set("VipsForeignLoadPpm", FALSE);
  return true;
}

}  // namespace

bool start_vips() {
  static const bool started = start();
  return started;
}

std::string vips_reason() {
  std::string text = vips_error_buffer();
  vips_error_clear();
  text.resize(std::min(text.find('\n'), text.size()));
  const std::size_t colon = text.find(": ");
  text = colon == std::string::npos ? text : text.substr(colon + 2);
  return text.empty() ? "the file is malformed" : text;
}

VipsImage* vips_image_over(const Picture& picture) {
  if (!start_vips()) {
    return nullptr;
  }
  return vips_image_new_from_memory(picture.bytes.data(), picture.bytes.size(),
                                    static_cast<int>(picture.width),
                                    static_cast<int>(picture.height), picture.channels,
                                    picture.bits == 16 ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR);
}

bool render(VipsImage* in, Picture& picture) {
  picture.width = static_cast<std::uint32_t>(in->Xsize);
  picture.height = static_cast<std::uint32_t>(in->Ysize);
  picture.channels = in->Bands;
  picture.bits = has_wide_samples(in) ? 16 : 8;
  picture.bytes.resize(picture.row_bytes() * picture.height);
  VipsImage* target = vips_image_over(picture);
  const bool done = target != nullptr && vips_image_write(in, target) == 0;
  if (target != nullptr) {
    g_object_unref(target);
  }
  return done;
}

void add_scaling(Chain& chain, PixelSize size) {
  const auto scale = [](int from, std::uint32_t to) { return static_cast<double>(to) / from; };
  const auto width = static_cast<int>(size.width);
  const auto height = static_cast<int>(size.height);
  chain.then([&](VipsImage* in, VipsImage** out) {
    return vips_resize(in, out, std::min(1.0, scale(in->Xsize, size.width)), "vscale",
                       std::min(1.0, scale(in->Ysize, size.height)), nullptr);
  });
  // libvips rounds the size; the page needs exactly these pixels.
  chain.then([&](VipsImage* in, VipsImage** out) {
    return vips_embed(in, out, 0, 0, std::min(in->Xsize, width), std::min(in->Ysize, height),
                      "extend", VIPS_EXTEND_COPY, nullptr);
  });
  chain.then([&](VipsImage* in, VipsImage** out) {
    if (in->Xsize == width && in->Ysize == height) {
      return vips_copy(in, out, nullptr);
    }
    // vips_resize() shifts an image that it enlarges by half a pixel.
    VipsInterpolate* bicubic = vips_interpolate_new("bicubic");
    VipsArrayInt* area = vips_array_int_newv(4, 0, 0, width, height);
    const int result =
        vips_affine(in, out, scale(in->Xsize, size.width), 0, 0, scale(in->Ysize, size.height),
                    "interpolate", bicubic, "oarea", area, "idx", 0.5, "idy", 0.5, "odx", -0.5,
                    "ody", -0.5, "extend", VIPS_EXTEND_COPY, nullptr);
    vips_area_unref(VIPS_AREA(area));
    g_object_unref(bicubic);
    return result;
  });
}

}  // namespace k905
