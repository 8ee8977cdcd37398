// The start of libvips.
#include "apps/image/vips_image.h"

#include <algorithm>

namespace k905 {

namespace {

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

}  // namespace k905
