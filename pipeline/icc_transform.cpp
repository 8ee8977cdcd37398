#include "pipeline/icc_transform.h"

#include <lcms2.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>

#include "diag/log.h"
#include "settings/print_options.h"

namespace {

using Target = IccSetup::Target;
using Outcome = IccSetup::Outcome;

struct SpaceName {
  cmsColorSpaceSignature signature;
  const char* name;
};
constexpr SpaceName kSpaceNames[] = {
    {cmsSigRgbData, "RGB"},     {cmsSigCmykData, "CMYK"}, {cmsSigGrayData, "Gray"},
    {cmsSigLabData, "Lab"},     {cmsSigLuvData, "Luv"},   {cmsSigXYZData, "XYZ"},
    {cmsSigYCbCrData, "YCbCr"}, {cmsSigYxyData, "Yxy"},
};

struct Intent {
  const char* text;
  std::uint32_t number;
  const char* log;
};
constexpr Intent kIntents[] = {
    {"Relative", INTENT_RELATIVE_COLORIMETRIC, "K905-1: Using Relative Colorimetric intent"},
    {"Saturation", INTENT_SATURATION, "K905-1: Using Saturation intent"},
    {"Absolute", INTENT_ABSOLUTE_COLORIMETRIC, "K905-1: Using Absolute Colorimetric intent"},
};
constexpr Intent kDefaultIntent = {"Perceptual", INTENT_PERCEPTUAL,
                                   "K905-1: Using Perceptual intent (default)"};

// In the order of IccSetup::Target.
struct TargetFormat {
  cmsColorSpaceSignature signature;
  cmsUInt32Number format;
  const char* log;
};
constexpr TargetFormat kTargets[] = {
    {cmsSigRgbData, TYPE_RGB_8, "K905-1: Setting up RGB->RGB transform"},
    {cmsSigCmykData, TYPE_CMYK_8, "K905-1: Setting up RGB->CMYK transform"},
    {cmsSigGrayData, TYPE_GRAY_8, "K905-1: Setting up RGB->Gray transform"},
};

struct SampleColor {
  const char* name;
  std::uint8_t rgb[3];
};
constexpr SampleColor kSampleColors[4] = {
    {"Red", {255, 0, 0}},
    {"Green", {0, 255, 0}},
    {"Blue", {0, 0, 255}},
    {"Yellow", {255, 255, 0}},
};

// The look for a change takes every so many-th pixel of the image.
constexpr std::size_t kSampleStep = 1000;

struct ProfileCloser {
  void operator()(void* profile) const noexcept { cmsCloseProfile(profile); }
};
using Profile = std::unique_ptr<void, ProfileCloser>;

// A profile can say any four bytes, and an enumeration has no room for all of them.
std::uint32_t space_of(const Profile& profile) {
  return static_cast<std::uint32_t>(cmsGetColorSpace(profile.get()));
}

const char* space_name(std::uint32_t signature) {
  for (const SpaceName& entry : kSpaceNames) {
    if (entry.signature == signature) {
      return entry.name;
    }
  }
  return "Unknown";
}

const Intent& intent_named(const char* text) {
  for (const Intent& intent : kIntents) {
    if (std::strcmp(text, intent.text) == 0) {
      return intent;
    }
  }
  return kDefaultIntent;
}

const TargetFormat& format_of(Target target) { return kTargets[static_cast<std::size_t>(target)]; }

ProfileFile looked_up(const char* path) {
  struct stat found = {};
  if (stat(path, &found) != 0) {
    return {};
  }
  return {
      .kind = S_ISREG(found.st_mode) ? ProfileFile::Kind::kRegular : ProfileFile::Kind::kNotRegular,
      .device = found.st_dev,
      .inode = found.st_ino,
      .size = found.st_size,
      .changed_s = found.st_ctim.tv_sec,
      .changed_ns = found.st_ctim.tv_nsec};
}

IccRequest request_of(const PrintOptions& options) {
  IccRequest request;
  std::snprintf(request.source_path, sizeof request.source_path, "%s",
                options.color_base_profile_path);
  std::snprintf(request.target_path, sizeof request.target_path, "%s", options.icc_profile_path);
  request.intent = intent_named(options.icc_intent).number;
  request.source_file = looked_up(request.source_path);
  request.target_file = looked_up(request.target_path);
  return request;
}

// The profile of a file, or the built-in sRGB in its place. Only a regular file is opened: Little
// CMS would wait at a FIFO until somebody writes to it.
Profile open_profile(const char* path, const ProfileFile& file, IccSetup::Profile& what) {
  if (file.kind == ProfileFile::Kind::kRegular) {
    if (Profile profile{cmsOpenProfileFromFile(path, "r")}) {
      what = IccSetup::Profile::kOpened;
      return profile;
    }
  }
  what = file.kind == ProfileFile::Kind::kMissing ? IccSetup::Profile::kMissing
                                                  : IccSetup::Profile::kCannotOpen;
  return Profile{cmsCreate_sRGBProfile()};
}

Transform create_transform(const Profile& source, const Profile& target, Target kind,
                           std::uint32_t intent) {
  return Transform{cmsCreateTransform(source.get(), TYPE_RGB_8, target.get(),
                                      format_of(kind).format, intent, 0)};
}

bool find_target(std::uint32_t source, std::uint32_t target, Target& kind) {
  for (const Target candidate : {Target::kRgb, Target::kCmyk, Target::kGray}) {
    if (source == cmsSigRgbData && format_of(candidate).signature == target) {
      kind = candidate;
      return true;
    }
  }
  return false;
}

// The built-in sRGB onto itself gives every color back unchanged, in all intents, in the version
// of Little CMS for which this was tried out color by color; of others nothing is assumed.
bool is_identity(const IccSetup& setup) {
  constexpr int kProvenVersion = 2140;
  return cmsGetEncodedCMMversion() == kProvenVersion &&
         setup.source != IccSetup::Profile::kOpened && setup.target != IccSetup::Profile::kOpened;
}

// Makes the transform that `request` asks for and collects the facts on the way.
Transform make_transform(const IccRequest& request, IccSetup& setup) {
  setup = {};
  const Profile source = open_profile(request.source_path, request.source_file, setup.source);
  if (source == nullptr) {
    setup.outcome = Outcome::kNoSourceProfile;
    return nullptr;
  }
  const Profile target = open_profile(request.target_path, request.target_file, setup.target);
  if (target == nullptr) {
    setup.outcome = Outcome::kNoTargetProfile;
    return nullptr;
  }
  const std::uint32_t source_space = space_of(source);
  const std::uint32_t target_space = space_of(target);
  setup.source_space = space_name(source_space);
  setup.target_space = space_name(target_space);
  if (!find_target(source_space, target_space, setup.target_kind)) {
    setup.outcome = Outcome::kUnsupported;
    return nullptr;
  }

  Transform transform = create_transform(source, target, setup.target_kind, request.intent);
  if (transform == nullptr) {
    setup.outcome = Outcome::kNoTransform;
    if (const Transform again =
            create_transform(source, target, setup.target_kind, request.intent)) {
      const std::uint8_t red[3] = {255, 0, 0};
      cmsDoTransform(again.get(), red, setup.second_try_red, 1);
      setup.second_try_worked = true;
    }
    return nullptr;
  }
  for (std::size_t i = 0; i < std::size(kSampleColors); ++i) {
    cmsDoTransform(transform.get(), kSampleColors[i].rgb, setup.samples[i], 1);
  }
  setup.changes_nothing = is_identity(setup);
  setup.is_expensive = setup.target_kind != Target::kRgb || !cmsIsMatrixShaper(source.get()) ||
                       !cmsIsMatrixShaper(target.get());
  setup.outcome = Outcome::kReady;
  return transform;
}

struct RowConversion {
  void* transform;
  Target target;
};

// A ColorCache::Conversion: from RGB to what the planes hold afterwards.
void convert_colors(const void* context, const std::uint8_t* in, std::uint8_t* out,
                    std::size_t count) {
  const auto& conversion = *static_cast<const RowConversion*>(context);
  const auto pixels = static_cast<cmsUInt32Number>(count);
  std::uint8_t converted[4 * ColorCache::kMostAtOnce];
  switch (conversion.target) {
    case Target::kRgb:
      cmsDoTransform(conversion.transform, in, out, pixels);
      return;
    case Target::kCmyk:
      // The printer lays its own black from the three dyes: K is dropped.
      cmsDoTransform(conversion.transform, in, converted, pixels);
      for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t c = 0; c < 3; ++c) {
          out[3 * i + c] = static_cast<std::uint8_t>(~converted[4 * i + c]);
        }
      }
      return;
    case Target::kGray:
      cmsDoTransform(conversion.transform, in, converted, pixels);
      for (std::size_t i = 0; i < count; ++i) {
        std::memset(out + 3 * i, converted[i], 3);
      }
      return;
  }
}

}  // namespace

void TransformDeleter::operator()(void* transform) const noexcept { cmsDeleteTransform(transform); }

// ---- Before the rows ----------------------------------------------------------------------------

void IccConversion::prepare(const PrintOptions& options, std::size_t width, std::size_t height,
                            bool mirrored, IccCache* memory) {
  shared_ = memory;
  width_ = width;
  height_ = height;
  mirrored_ = mirrored;
  first_before_ = first_after_ = center_before_ = center_after_ = {};
  std::memset(first_output_, 0, sizeof first_output_);
  samples_ = nullptr;
  converts_ = false;
  asked_for_ = options.icc_enabled != 0 && options.icc_profile_name[0] != '\0';
  if (!asked_for_) {
    return;
  }
  set_up(request_of(options));
  if (setup_.outcome == Outcome::kReady) {
    samples_ = make_buffer<std::uint8_t>(3 * (width * height / kSampleStep + 1));
    converts_ = samples_ != nullptr;
  }
}

void IccConversion::set_up(const IccRequest& request) {
  IccCache& kept = memory();
  if (kept.transform_ == nullptr || !(kept.request_ == request)) {
    kept.request_ = request;
    kept.transform_ = make_transform(request, kept.setup_);
    if (kept.transform_ != nullptr && !kept.setup_.changes_nothing) {
      kept.colors_.reset();
    }
  }
  kept.colors_.begin_page();
  setup_ = kept.setup_;
}

// ---- Row by row ---------------------------------------------------------------------------------

IccConversion::Rgb IccConversion::pixel(const std::uint8_t* rgb, std::size_t x) const {
  const std::uint8_t* found = rgb + 3 * (mirrored_ ? width_ - 1 - x : x);
  return {found[0], found[1], found[2]};
}

bool IccConversion::center_is_in(std::size_t y) const { return width_ * height_ / 2 / width_ == y; }

void IccConversion::remember_before(std::size_t y, const std::uint8_t* rgb) {
  if (y == 0) {
    first_before_ = pixel(rgb, 0);
    if (converts_) {
      cmsDoTransform(memory().transform_.get(), first_before_.data(), first_output_, 1);
    }
  }
  if (center_is_in(y)) {
    center_before_ = pixel(rgb, width_ * height_ / 2 % width_);
  }
}

void IccConversion::remember_after(std::size_t y, const std::uint8_t* rgb) {
  if (y == 0) {
    first_after_ = pixel(rgb, 0);
  }
  if (center_is_in(y)) {
    center_after_ = pixel(rgb, width_ * height_ / 2 % width_);
  }
  const std::size_t first = y * width_;
  for (std::size_t i = (first + kSampleStep - 1) / kSampleStep; i * kSampleStep < first + width_;
       ++i) {
    const Rgb color = pixel(rgb, i * kSampleStep - first);
    std::memcpy(samples_.get() + 3 * i, color.data(), 3);
  }
}

void IccConversion::convert(std::uint8_t* rgb) {
  if (setup_.changes_nothing) {
    return;
  }
  const RowConversion conversion{memory().transform_.get(), setup_.target_kind};
  memory().colors_.convert_row(rgb, width_, {convert_colors, &conversion, setup_.is_expensive});
}

void IccConversion::row(std::size_t y, std::uint8_t* rgb) {
  if (width_ == 0) {
    return;
  }
  remember_before(y, rgb);
  if (converts_) {
    convert(rgb);
    remember_after(y, rgb);
  }
}

// ---- After the page -----------------------------------------------------------------------------

void IccConversion::report(const PrintOptions& options) const {
  log_line("K905-1: Before ICC - Pixel[0]: R=%d, G=%d, B=%d", first_before_[0], first_before_[1],
           first_before_[2]);
  log_line("K905-1: Before ICC - Pixel[center]: R=%d, G=%d, B=%d", center_before_[0],
           center_before_[1], center_before_[2]);
  if (!asked_for_) {
    log_line("K905-1: ICC conversion not enabled or no profile specified");
    return;
  }
  report_start(options);
  bool converted = false;
  if (report_profiles(options)) {
    converted = report_transform(options);
    log_line("K905-1: Target profile closed");
    log_line("K905-1: Source profile closed");
  }
  if (!converted) {
    log_line("K905-1: WARNING: ICC conversion failed, using original colors");
    return;
  }
  log_line("K905-1: After ICC - Pixel[0]: R=%d, G=%d, B=%d", first_after_[0], first_after_[1],
           first_after_[2]);
  log_line("K905-1: After ICC - Pixel[center]: R=%d, G=%d, B=%d", center_after_[0],
           center_after_[1], center_after_[2]);
}

void IccConversion::report_start(const PrintOptions& options) const {
  log_line("K905-1: ===== STARTING ICC CONVERSION =====");
  log_line("K905-1: Source profile: %s", options.color_base_profile_path);
  log_line("K905-1: Target profile: %s", options.icc_profile_path);
  log_line("K905-1: Image size: %dx%d", static_cast<int>(width_), static_cast<int>(height_));
  log_line("K905-1: Rendering intent: %s", options.icc_intent);
  log_line("K905-1: Color base: %s", options.color_base);
  log_line("K905-1: Before conversion center pixel: R=%d, G=%d, B=%d", center_before_[0],
           center_before_[1], center_before_[2]);
}

// Whether both profiles were there, be it as the built-in one.
bool IccConversion::report_profiles(const PrintOptions& options) const {
  log_line("K905-1: Loading source profile: %s", options.color_base_profile_path);
  if (setup_.source == IccSetup::Profile::kMissing) {
    log_line("K905-1: WARNING: Source profile not found, using sRGB");
  } else if (setup_.source == IccSetup::Profile::kCannotOpen) {
    log_line("K905-1: WARNING: Cannot open source profile, using sRGB");
  }
  if (setup_.outcome == Outcome::kNoSourceProfile) {
    log_line("K905-1: ERROR: Failed to create source profile");
    return false;
  }
  log_line("K905-1: Loading target profile: %s", options.icc_profile_path);
  if (setup_.target == IccSetup::Profile::kMissing) {
    log_line("K905-1: WARNING: Target profile not found, using sRGB");
  } else if (setup_.target == IccSetup::Profile::kCannotOpen) {
    log_line("K905-1: WARNING: Cannot open target profile, using sRGB");
  }
  if (setup_.outcome == Outcome::kNoTargetProfile) {
    log_line("K905-1: ERROR: Failed to create target profile");
    return false;
  }
  return true;
}

// Whether the colors were converted.
bool IccConversion::report_transform(const PrintOptions& options) const {
  log_line("K905-1: Source color space: %s", setup_.source_space);
  log_line("K905-1: Target color space: %s", setup_.target_space);
  log_line("%s", intent_named(options.icc_intent).log);
  log_line("K905-1: Creating transform: %s -> %s", setup_.source_space, setup_.target_space);
  if (setup_.outcome == Outcome::kUnsupported) {
    log_line("K905-1: ERROR: Unsupported color space conversion");
    log_line("K905-1: Source: %s, Target: %s", setup_.source_space, setup_.target_space);
    return false;
  }
  log_line("%s", format_of(setup_.target_kind).log);
  if (setup_.outcome == Outcome::kNoTransform) {
    report_second_try();
    return false;
  }
  log_line("K905-1: ICC transform created successfully");
  report_samples();
  if (!converts_) {
    log_line("K905-1: ERROR: Failed to allocate conversion buffers");
    log_line("K905-1: Transform deleted");
    return false;
  }
  report_bulk_conversion();
  report_change();
  log_line("K905-1: ICC color conversion completed");
  log_line("K905-1: ===== END ICC CONVERSION =====");
  log_line("K905-1: Transform deleted");
  return true;
}

void IccConversion::report_second_try() const {
  log_line("K905-1: ERROR: Failed to create ICC transform");
  log_line("K905-1: Testing with simple color...");
  if (setup_.second_try_worked) {
    log_line("K905-1: Test transform works: Red -> [%d,%d,%d]", setup_.second_try_red[0],
             setup_.second_try_red[1], setup_.second_try_red[2]);
  }
}

void IccConversion::report_samples() const {
  log_line("K905-1: Testing transform with sample colors:");
  for (std::size_t i = 0; i < std::size(kSampleColors); ++i) {
    const char* name = kSampleColors[i].name;
    const std::uint8_t* in = kSampleColors[i].rgb;
    const std::uint8_t* out = setup_.samples[i];
    if (setup_.target_kind == Target::kRgb) {
      log_line("  %s: [%3d,%3d,%3d] -> [%3d,%3d,%3d] (ΔR=%+3d, ΔG=%+3d, ΔB=%+3d)", name, in[0],
               in[1], in[2], out[0], out[1], out[2], out[0] - in[0], out[1] - in[1],
               out[2] - in[2]);
    } else if (setup_.target_kind == Target::kCmyk) {
      log_line("  %s: RGB[%3d,%3d,%3d] -> CMYK[%3d,%3d,%3d,%3d]", name, in[0], in[1], in[2], out[0],
               out[1], out[2], out[3]);
    }
  }
}

void IccConversion::report_bulk_conversion() const {
  log_line("K905-1: Preparing input data...");
  log_line("K905-1: First pixel in input buffer: R=%d, G=%d, B=%d", first_before_[0],
           first_before_[1], first_before_[2]);
  log_line("K905-1: Performing bulk color conversion...");
  log_line("K905-1: Bulk conversion completed");
  const std::uint8_t* out = first_output_;
  switch (setup_.target_kind) {
    case Target::kRgb:
      log_line("K905-1: First pixel in output buffer: R=%d, G=%d, B=%d", out[0], out[1], out[2]);
      log_line("K905-1: Processing converted data...");
      log_line("K905-1: Copied RGB data back to channels");
      return;
    case Target::kCmyk:
      log_line("K905-1: First pixel in output buffer: C=%d, M=%d, Y=%d, K=%d", out[0], out[1],
               out[2], out[3]);
      log_line("K905-1: Processing converted data...");
      log_line("K905-1: Converting CMYK to CMY for printer");
      return;
    case Target::kGray:
      // Deliberate: a gray page has no value to show here, and the line stays open; those who read
      // these logs with scripts know it that way.
      log_text("K905-1: First pixel in output buffer: ");
      log_line("K905-1: Processing converted data...");
      return;
  }
}

void IccConversion::report_change() const {
  log_line("K905-1: After conversion center pixel: R=%d, G=%d, B=%d", center_after_[0],
           center_after_[1], center_after_[2]);
  log_line("K905-1: Change: ΔR=%+3d, ΔG=%+3d, ΔB=%+3d", center_after_[0] - center_before_[0],
           center_after_[1] - center_before_[1], center_after_[2] - center_before_[2]);
  if (center_after_ != center_before_) {
    return;
  }
  log_line("K905-1: WARNING: No change detected in center pixel!");
  // Deliberate: compared with the center pixel's old color and not with the sampled pixel's own;
  // the number tells whether the page is of one color rather than what the conversion did.
  int differing = 0;
  for (std::size_t i = 0; i * kSampleStep < width_ * height_; ++i) {
    differing += std::memcmp(samples_.get() + 3 * i, center_before_.data(), 3) != 0 ? 1 : 0;
  }
  log_line("K905-1: Changed pixels in sample: %d", differing);
}
