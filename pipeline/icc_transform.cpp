// Opens profiles, makes transforms, converts rows.
#include "pipeline/icc_transform.h"

#include <lcms2.h>
#include <sys/stat.h>

#include <cstring>
#include <iterator>

#include "settings/option_values.h"
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

struct ProfileCloser {
  void operator()(void* profile) const noexcept { cmsCloseProfile(profile); }
};
using Profile = std::unique_ptr<void, ProfileCloser>;

// A profile can contain any four bytes, and the enumeration cannot represent all of them.
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

// Opens the profile in a file, or the built-in sRGB if that fails. Only a regular file is opened:
// Little CMS would block on a FIFO.
Profile open_profile(const char* path, IccSetup::Profile& what) {
  struct stat found = {};
  if (stat(path, &found) != 0) {
    what = IccSetup::Profile::kMissing;
    return Profile{cmsCreate_sRGBProfile()};
  }
  if (S_ISREG(found.st_mode)) {
    if (Profile profile{cmsOpenProfileFromFile(path, "r")}) {
      what = IccSetup::Profile::kOpened;
      return profile;
    }
  }
  what = IccSetup::Profile::kCannotOpen;
  return Profile{cmsCreate_sRGBProfile()};
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

IccOutput transformed(void* transform, const Rgb& color) {
  IccOutput output = {};
  cmsDoTransform(transform, color.data(), output.data(), 1);
  return output;
}

struct RowConversion {
  void* transform;
  Target target;
};

// A ColorCache::Conversion: from RGB to the values of the planes.
void convert_colors(const void* context, const std::uint8_t* in, std::uint8_t* out,
                    std::size_t count) {
  const auto& conversion = *static_cast<const RowConversion*>(context);
  const auto pixels = static_cast<cmsUInt32Number>(count);
  std::uint8_t converted[4 * ColorCache::kMaxColors];
  switch (conversion.target) {
    case Target::kRgb:
      cmsDoTransform(conversion.transform, in, out, pixels);
      return;
    case Target::kCmyk:
      // The printer mixes black from the three dyes, so K is dropped.
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

void IccTransform::Deleter::operator()(void* transform) const noexcept {
  cmsDeleteTransform(transform);
}

IccTransform::Request IccTransform::request_of(const PrintOptions& options) {
  Request request;
  copy_text(request.source_path, options.color_base_profile_path);
  copy_text(request.target_path, options.icc_profile_path);
  copy_text(request.intent, options.icc_intent);
  return request;
}

// Makes the transform of `request`, and records in `setup` what the log needs.
IccTransform::Handle IccTransform::make(const Request& request, IccSetup& setup) {
  setup = {};
  const Profile source = open_profile(request.source_path, setup.source);
  if (source == nullptr) {
    setup.outcome = Outcome::kNoSourceProfile;
    return nullptr;
  }
  const Profile target = open_profile(request.target_path, setup.target);
  if (target == nullptr) {
    setup.outcome = Outcome::kNoTargetProfile;
    return nullptr;
  }
  const Intent& intent = intent_named(request.intent);
  const std::uint32_t source_space = space_of(source);
  const std::uint32_t target_space = space_of(target);
  setup.intent_log = intent.log;
  setup.source_space = space_name(source_space);
  setup.target_space = space_name(target_space);
  if (!find_target(source_space, target_space, setup.target_kind)) {
    setup.outcome = Outcome::kUnsupported;
    return nullptr;
  }

  const TargetFormat& format = format_of(setup.target_kind);
  setup.target_log = format.log;
  const auto create = [&] {
    return Handle{cmsCreateTransform(source.get(), TYPE_RGB_8, target.get(), format.format,
                                     intent.number, 0)};
  };
  if (Handle handle = create()) {
    setup.outcome = Outcome::kReady;
    setup.is_expensive = setup.target_kind != Target::kRgb || !cmsIsMatrixShaper(source.get()) ||
                         !cmsIsMatrixShaper(target.get());
    return handle;
  }
  setup.outcome = Outcome::kNoTransform;
  if (const Handle handle = create()) {
    setup.second_try_worked = true;
    setup.second_try_red = transformed(handle.get(), {255, 0, 0});
  }
  return nullptr;
}

void IccTransform::prepare(const PrintOptions& options) {
  colors_.begin_page();
  const Request request = request_of(options);
  // Every other failure is tried again, because it may have been a lack of memory.
  const bool is_final = is_ready() || setup_.outcome == Outcome::kUnsupported;
  if (is_final && request == request_) {
    return;
  }
  request_ = request;
  handle_ = make(request, setup_);
  if (handle_ == nullptr) {
    return;
  }
  for (std::size_t i = 0; i < std::size(kIccSampleColors); ++i) {
    setup_.samples[i] = output_for(kIccSampleColors[i].rgb);
  }
  colors_.reset();
}

IccOutput IccTransform::output_for(const Rgb& color) const {
  return transformed(handle_.get(), color);
}

void IccTransform::convert(const PlaneRow& row, std::size_t width) {
  const RowConversion conversion{handle_.get(), setup_.target_kind};
  colors_.convert_row(row, width, {convert_colors, &conversion, setup_.is_expensive});
}
