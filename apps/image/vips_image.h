// Startup of libvips and chains of its operations; private to this folder.
#pragma once

#include <vips/vips.h>

#include <string>

#include "apps/image/picture.h"

namespace k905 {

// Starts libvips once, without the loaders that it marks as untrusted. Discards its warnings.
[[nodiscard]] bool start_vips();

// The last error of libvips, in one line without the name of its module. Clears it.
[[nodiscard]] std::string vips_reason();

// An image over the pixels of `picture`, which must outlive it. The caller unrefs it. Null if there
// is no memory.
[[nodiscard]] VipsImage* vips_image_over(const Picture& picture);

// Renders the image into our own memory, without its profile.
[[nodiscard]] bool render(VipsImage* in, Picture& picture);

[[nodiscard]] inline bool has_wide_samples(const VipsImage* in) {
  return vips_format_sizeof(in->BandFmt) > 1;
}

// A chain of libvips operations on an image; the first that fails ends the chain.
class Chain {
 public:
  // Takes over the reference to `start`, which may be null.
  explicit Chain(VipsImage* start) : image_(start) {}
  ~Chain() { replace(nullptr); }
  Chain(const Chain&) = delete;
  Chain& operator=(const Chain&) = delete;

  // Starts with the result of `operation(&out)`.
  template <class Operation>
  Chain& start(Operation operation) {
    VipsImage* out = nullptr;
    replace(operation(&out) == 0 ? out : nullptr);
    return *this;
  }

  // `operation(in, &out)` returns 0 on success, as all operations of libvips do.
  template <class Operation>
  Chain& then(Operation operation) {
    VipsImage* out = nullptr;
    if (image_ != nullptr && operation(image_, &out) != 0) {
      out = nullptr;
    }
    replace(out);
    return *this;
  }

  // Null after a failure.
  [[nodiscard]] VipsImage* get() const { return image_; }

 private:
  void replace(VipsImage* next) {
    if (image_ != nullptr) {
      g_object_unref(image_);
    }
    image_ = next;
  }

  VipsImage* image_;
};

// Scales to exactly this size: averages if it shrinks, interpolates if it enlarges.
void add_scaling(Chain& chain, PixelSize size);

}  // namespace k905
