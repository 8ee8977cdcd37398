// The conversion through ICC profiles: everything that touches Little CMS.
//
// Degrades, never fails: whatever goes wrong, the colors stay and the log says so. Most of what is
// remembered here is for the log, which speaks only after the page is through: it shows pixels
// before and after, tries the transform on four colors and looks whether it changed anything.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "pipeline/color_cache.h"
#include "pipeline/planes.h"

struct PrintOptions;

// What stat says about a profile's file, enough to know it again. The time of the last change is
// the one that nobody can put back.
struct ProfileFile {
  enum class Kind : std::uint8_t { kMissing, kNotRegular, kRegular };
  Kind kind = Kind::kMissing;
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  std::int64_t changed_s = 0;
  std::int64_t changed_ns = 0;
  bool operator==(const ProfileFile&) const = default;
};

// All that a transform depends on.
struct IccRequest {
  char source_path[512] = "";
  char target_path[512] = "";
  std::uint32_t intent = 0;
  ProfileFile source_file;
  ProfileFile target_file;
  bool operator==(const IccRequest&) const = default;
};

// What came of making a transform: the facts that rows and log need.
struct IccSetup {
  enum class Outcome : std::uint8_t {
    kNoSourceProfile,  // not even the built-in one
    kNoTargetProfile,
    kUnsupported,  // source is not RGB, or target neither RGB, CMYK nor Gray
    kNoTransform,
    kReady,
  };
  enum class Profile : std::uint8_t {
    kOpened,
    kMissing,
    kCannotOpen
  };  // but kOpened: built-in sRGB
  enum class Target : std::uint8_t { kRgb, kCmyk, kGray };

  Outcome outcome = Outcome::kNoSourceProfile;
  Profile source = Profile::kMissing;
  Profile target = Profile::kMissing;
  const char* source_space = "";  // as the log names it
  const char* target_space = "";
  Target target_kind = Target::kRgb;
  bool changes_nothing = false;    // every color stays: rows need not be converted
  bool is_expensive = false;       // goes through tables rather than through a matrix
  bool second_try_worked = false;  // kNoTransform: what the further try gave for pure red
  std::uint8_t second_try_red[4] = {};
  std::uint8_t samples[4][4] = {};  // kReady: the sample colors, converted
};

struct TransformDeleter {
  void operator()(void* transform) const noexcept;
};
using Transform = std::unique_ptr<void, TransformDeleter>;

// What may live from page to page: the transform and the colors it has converted, as long as
// paths, intent and files stay the same. The log says what it would say of a fresh transform.
class IccCache {
 private:
  friend class IccConversion;
  IccRequest request_;
  IccSetup setup_;
  Transform transform_;  // null: nothing to build on
  ColorCache colors_;
};

// One page's conversion. The image is width x height pixels; its rows come chunky and in order, and
// column x of the image is column width - 1 - x of a row when `mirrored`.
class IccConversion {
 public:
  // Opens profiles and creates the transform where the settings ask for it. Logs nothing. `memory`
  // may be null; otherwise it outlives the rows.
  void prepare(const PrintOptions& options, std::size_t width, std::size_t height, bool mirrored,
               IccCache* memory);

  // Converts row `y` (width x 3 bytes, slack behind) in place; leaves it as it is when there is
  // nothing to convert with.
  void row(std::size_t y, std::uint8_t* rgb);

  // Tells of the whole conversion, with the options that were prepared. May be called again.
  void report(const PrintOptions& options) const;

 private:
  using Rgb = std::array<std::uint8_t, 3>;

  void set_up(const IccRequest& request);
  [[nodiscard]] IccCache& memory() { return shared_ != nullptr ? *shared_ : own_; }
  [[nodiscard]] Rgb pixel(const std::uint8_t* rgb, std::size_t x) const;
  [[nodiscard]] bool center_is_in(std::size_t y) const;
  void remember_before(std::size_t y, const std::uint8_t* rgb);
  void remember_after(std::size_t y, const std::uint8_t* rgb);
  void convert(std::uint8_t* rgb);

  void report_start(const PrintOptions& options) const;
  [[nodiscard]] bool report_profiles(const PrintOptions& options) const;
  [[nodiscard]] bool report_transform(const PrintOptions& options) const;
  void report_second_try() const;
  void report_samples() const;
  void report_bulk_conversion() const;
  void report_change() const;

  IccCache own_;
  IccCache* shared_ = nullptr;
  std::size_t width_ = 0;
  std::size_t height_ = 0;
  bool mirrored_ = false;
  bool asked_for_ = false;  // enabled, and a profile is named
  bool converts_ = false;   // the transform is ready and the memory was to be had
  IccSetup setup_;

  Rgb first_before_ = {};
  Rgb first_after_ = {};
  Rgb center_before_ = {};
  Rgb center_after_ = {};
  std::uint8_t first_output_[4] = {};
  Plane samples_;  // every 1000th pixel after the conversion, three bytes each
};
