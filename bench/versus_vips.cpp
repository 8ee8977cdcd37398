// versus_vips WIDTH HEIGHT none|resize|tone|icc [SOURCE.icc TARGET.icc]
//
// Makes the pixels of one 6x8 sheet with libvips: reads a PPM of WIDTH x HEIGHT from standard
// input, writes three planes of the canvas to standard output. Only the kind of work is the same,
// not its result.
//
// The library is loaded at run time, so that it is not needed to build the benchmarks. Exit status
// 77: it is not installed.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr double kTargetWidth = 1844;
constexpr double kTargetHeight = 2436;
constexpr double kImageWidth = 1800;
constexpr double kImageHeight = 2401;
constexpr int kCanvasWidth = 1920;
constexpr int kCanvasHeight = 2436;
constexpr int kBleedLeft = 50;
constexpr int kBleedTop = 23;

// Values of the library's enumerations.
constexpr int kKernelNearest = 0;
constexpr int kExtendWhite = 4;
constexpr int kFormatUchar = 0;
constexpr int kPerceptual = 0;

using Image = void*;  // VipsImage

void* library() {
  static void* const handle = dlopen("libvips.so.42", RTLD_NOW);
  if (handle == nullptr) {
    std::fprintf(stderr, "versus_vips: libvips is not installed\n");
    std::exit(77);
  }
  return handle;
}

template <typename Function>
Function* function(const char* name) {
  auto* found = reinterpret_cast<Function*>(dlsym(library(), name));
  if (found == nullptr) {
    std::fprintf(stderr, "versus_vips: libvips has no %s\n", name);
    std::exit(77);
  }
  return found;
}

// One operation from an image to an image; optional arguments end with a null.
template <typename... Arguments>
Image run(const char* operation, Image in, Arguments... arguments) {
  Image out = nullptr;
  auto* call = function<int(Image, Image*, ...)>(operation);
  if (call(in, &out, arguments..., nullptr) != 0) {
    std::fprintf(stderr, "versus_vips: %s failed: %s\n", operation,
                 function<const char*()>("vips_error_buffer")());
    std::exit(1);
  }
  return out;
}

Image read_standard_input() {
  void* source = function<void*(int)>("vips_source_new_from_descriptor")(0);
  return run("vips_ppmload_source", source);
}

Image with_tone(Image image) {
  // A little more saturation: subtracts some of the other channels from every channel.
  const double values[9] = {1.10, -0.05, -0.05, -0.05, 1.10, -0.05, -0.05, -0.05, 1.10};
  auto* from_array =
      function<Image(int, int, const double*, int)>("vips_image_new_matrix_from_array");
  const Image matrix = from_array(3, 3, values, 9);
  image = run("vips_linear1", image, 1.1, -8.0);
  image = run("vips_recomb", image, matrix);
  image = run("vips_gamma", image, "exponent", 1.2);
  return run("vips_cast", image, kFormatUchar);
}

Image with_profiles(Image image, const char* source, const char* target) {
  image = run("vips_icc_transform", image, target, "input_profile", source, "intent", kPerceptual);
  return run("vips_invert", image);
}

void write_planes(Image image) {
  const Image canvas = function<Image(Image)>("vips_image_copy_memory")(image);
  for (int band = 0; band < 3; ++band) {
    const Image plane = run("vips_extract_band", canvas, band);
    if (function<int(Image, int, ...)>("vips_rawsave_fd")(plane, 1, nullptr) != 0) std::exit(1);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) {
    std::fprintf(stderr, "usage: versus_vips WIDTH HEIGHT none|resize|tone|icc [SOURCE TARGET]\n");
    return 2;
  }
  const std::string work = argv[3];
  if (function<int(const char*)>("vips_init")(argv[0]) != 0) return 1;
  function<void(int)>("vips_concurrency_set")(1);
  Image image = read_standard_input();
  if (work == "resize") {
    const double across = kTargetWidth / std::strtod(argv[1], nullptr);
    const double down = kTargetHeight / std::strtod(argv[2], nullptr);
    image = run("vips_affine", image, across, 0.0, 0.0, down);
  }
  if (work == "tone") image = with_tone(image);
  if (work == "icc" && argc == 6) image = with_profiles(image, argv[4], argv[5]);
  image = run("vips_resize", image, kImageWidth / kTargetWidth, "vscale",
              kImageHeight / kTargetHeight, "kernel", kKernelNearest);
  image = run("vips_embed", image, kBleedLeft, kBleedTop, kCanvasWidth, kCanvasHeight, "extend",
              kExtendWhite);
  write_planes(image);
  return 0;
}
