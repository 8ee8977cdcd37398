// The conversion through ICC profiles. In the filter, only this class calls Little CMS.
//
// A transform is kept as long as the pages of a job use the same profiles and intent, so a profile
// file that is replaced meanwhile takes effect with the next job. An error here never fails a page:
// it is logged, and the colors stay unchanged.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "pipeline/color_cache.h"
#include "pipeline/planes.h"

struct PrintOptions;

// The output of a transform for one color: three bytes, four for CMYK, one for Gray.
using IccOutput = std::array<std::uint8_t, 4>;

// Sample colors: the log shows what each transform makes of them.
struct IccSampleColor {
  const char* name;
  Rgb rgb;
};
inline constexpr IccSampleColor kIccSampleColors[4] = {
    {"Red", {255, 0, 0}},
    {"Green", {0, 255, 0}},
    {"Blue", {0, 0, 255}},
    {"Yellow", {255, 255, 0}},
};

// The result of making a transform.
struct IccSetup {
  enum class Outcome : std::uint8_t {
    kNoSourceProfile,  // not even the built-in one
    kNoTargetProfile,
    kUnsupported,  // source is not RGB, or target neither RGB, CMYK nor Gray
    kNoTransform,
    kReady,
  };
  // A profile that is not kOpened is replaced by the built-in sRGB.
  enum class Profile : std::uint8_t { kOpened, kMissing, kCannotOpen };
  enum class Target : std::uint8_t { kRgb, kCmyk, kGray };

  Outcome outcome = Outcome::kNoSourceProfile;
  Profile source = Profile::kMissing;
  Profile target = Profile::kMissing;
  const char* source_space = "";  // as the log names it
  const char* target_space = "";
  const char* intent_log = "";  // complete log lines, like target_log
  const char* target_log = "";
  Target target_kind = Target::kRgb;
  bool is_expensive = false;       // goes through tables rather than through a matrix
  bool second_try_worked = false;  // kNoTransform: second_try_red is its output for red
  IccOutput second_try_red = {};
  IccOutput samples[std::size(kIccSampleColors)] = {};  // kReady
};

class IccTransform {
 public:
  // Before each page: opens the profiles and makes the transform that the options select, unless it
  // is that of the page before. Logs nothing.
  void prepare(const PrintOptions& options);

  [[nodiscard]] const IccSetup& setup() const { return setup_; }
  [[nodiscard]] bool is_ready() const { return setup_.outcome == IccSetup::Outcome::kReady; }

  // Three plane rows of `width` bytes, slack after each, in place. Only when ready.
  void convert(const PlaneRow& row, std::size_t width);

  // The output of Little CMS for one color. Only when ready.
  [[nodiscard]] IccOutput output_for(const Rgb& color) const;

 private:
  // All that a transform depends on.
  struct Request {
    char source_path[512] = "";
    char target_path[512] = "";
    char intent[32] = "";
    bool operator==(const Request&) const = default;
  };
  struct Deleter {
    void operator()(void* transform) const noexcept;
  };
  using Handle = std::unique_ptr<void, Deleter>;

  static Request request_of(const PrintOptions& options);
  static Handle make(const Request& request, IccSetup& setup);

  Request request_;
  IccSetup setup_;
  Handle handle_;  // null unless ready
  ColorCache colors_;
};
