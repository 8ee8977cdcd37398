#include "tests/jobs/random_job.h"

#include <gtest/gtest.h>

#include <random>

#include "tests/jobs/job_check.h"
#include "tests/support/child_process.h"
#include "tests/support/profile_builder.h"

namespace {

class Dice {
 public:
  explicit Dice(unsigned seed) : random_(seed) {}

  // From 0 to count - 1.
  unsigned roll(unsigned count) { return static_cast<unsigned>(random_() % count); }
  bool one_in(unsigned count) { return roll(count) == 0; }
  int between(int least, int most) {
    return least + static_cast<int>(roll(static_cast<unsigned>(most - least + 1)));
  }
  template <class T>
  T pick(std::initializer_list<T> choices) {
    return *(choices.begin() + roll(static_cast<unsigned>(choices.size())));
  }
  std::mt19937& engine() { return random_; }

 private:
  std::mt19937 random_;
};

std::string thousandths(Dice& dice, int middle) {
  switch (dice.roll(6)) {
    case 0:
      return "None";
    case 1:
      return std::to_string(dice.between(-3000, 5000));
    default:
      return std::to_string(middle + dice.between(-400, 400));
  }
}

std::string millimeters(Dice& dice) {
  switch (dice.roll(5)) {
    case 0:
      return std::to_string(dice.between(-300, 300));
    case 1:
      return "0";
    default:
      return std::to_string(dice.between(-600, 600) / 100.0);
  }
}

const char* any_paper(Dice& dice) {
  return dice.pick({"B7", "w360h360", "w360h504", "w288h432", "w288h432-div2", "w432h576-div2",
                    "w432h576-div4", "w432h432", "w432h576", "default", "Letter"});
}

const char* any_color_model(Dice& dice) {
  return dice.pick({"RGB", "Gray", "Black", "CMY", "CMYK", "KCMY", "rgb"});
}

const char* any_correction(Dice& dice) {
  return dice.pick({"None", "Bright", "Accurate", "Hue", "Desaturated", "hue"});
}

void choose_settings(Dice& dice, JobRecipe& job) {
  if (!dice.one_in(4)) {
    job.choose("PageSize", any_paper(dice));
  }
  for (const char* keyword : {"StpBrightness", "StpContrast", "StpSaturation"}) {
    if (dice.one_in(4)) {
      job.choose(keyword, thousandths(dice, 0));
    }
  }
  for (const char* keyword : {"StpGamma", "StpCyanGamma", "StpMagentaGamma", "StpYellowGamma",
                              "StpCyanBalance", "StpMagentaBalance", "StpYellowBalance"}) {
    if (dice.one_in(5)) {
      job.choose(keyword, thousandths(dice, 1000));
    }
  }
  for (const char* keyword : {"StpLinearContrast", "StpLegacyDyesubGamma", "StpNoCutWaste"}) {
    if (dice.one_in(4)) {
      job.choose(keyword, dice.pick({"True", "False"}));
    }
  }
  for (const char* keyword :
       {"BleedTop", "BleedB", "BleedLeft", "BleedD", "BleedA", "BleedRight"}) {
    if (dice.one_in(8)) {
      job.choose(keyword, millimeters(dice));
    }
  }
  if (dice.one_in(3)) {
    job.choose("ColorModel", any_color_model(dice));
  }
  if (dice.one_in(3)) {
    job.choose("StpColorCorrection", any_correction(dice));
  }
  if (dice.one_in(3)) {
    job.choose("StpLaminate", dice.pick({"Matte", "Glossy", "matte"}));
  }
  if (dice.one_in(8)) {
    job.choose("ColorBase", dice.pick({"Vivid", "Normal"}));
  }
  if (dice.one_in(8)) {
    job.choose("ICCProfile", dice.pick({"rgb.icc", "cmyk", "None"}));
  }
}

void add_arguments(Dice& dice, JobRecipe& job) {
  std::vector<std::string>& arguments = job.arguments;
  if (dice.one_in(6)) {
    arguments.resize(1 + dice.roll(5));  // as a user starts it by hand
  } else if (dice.one_in(4)) {
    arguments[5] = dice.pick({"fit-to-page", "ICCProfile=sRGB x=y", "a ICCProfile=K905RGB"});
  }
  const unsigned count = dice.roll(5);
  for (unsigned i = 0; i < count; ++i) {
    switch (dice.roll(10)) {
      case 0:
        arguments.insert(arguments.end(), {"--brightness", thousandths(dice, 0)});
        break;
      case 1:
        arguments.insert(arguments.end(), {"--gamma", thousandths(dice, 1000)});
        break;
      case 2:
        arguments.insert(arguments.end(), {"--saturation", thousandths(dice, 0)});
        break;
      case 3:
        arguments.push_back("BleedBottom=" + millimeters(dice));
        break;
      case 4:
        arguments.push_back("BleedC=" + millimeters(dice));
        break;
      case 5:
        arguments.insert(arguments.end(), {"--color-model", any_color_model(dice)});
        break;
      case 6:
        arguments.push_back(std::string("StpColorCorrection=") + any_correction(dice));
        break;
      case 7:
        arguments.insert(arguments.end(),
                         {"--icc-profile", dice.pick({"rgb", "cmyk", "gray", "missing"})});
        break;
      case 8:
        arguments.insert(arguments.end(),
                         {"--icc-intent", dice.pick({"Relative", "Absolute", "Saturation"})});
        break;
      default:
        arguments.insert(arguments.end(), {"--copies", std::to_string(dice.roll(4))});
    }
  }
}

RasterPage any_page(Dice& dice) {
  unsigned width = 1 + dice.roll(300);
  unsigned height = 1 + dice.roll(300);
  if (dice.one_in(4)) {  // the size that the paper needs
    width = dice.pick({1844U, 1548U});
    height = dice.pick({1240U, 1088U, 1540U, 2436U});
  } else if (dice.one_in(6)) {
    width = 1 + dice.roll(2500);
    height = 1 + dice.roll(2500);
  }
  using Format = std::pair<unsigned, unsigned>;
  const auto [colors, bits] =
      dice.pick({Format{3, 8}, Format{3, 8}, Format{3, 8}, Format{3, 16}, Format{1, 8},
                 Format{1, 1}, Format{4, 8}, Format{4, 8}, Format{4, 16}});
  cups_page_header2_t header = page_header(width, height, colors, bits);
  header.cupsColorSpace = static_cast<cups_cspace_t>(dice.pick({0, 1, 1, 1, 2, 3, 4, 5, 6, 19}));
  header.HWResolution[0] = dice.one_in(12) ? 600 : 300;
  header.HWResolution[1] = dice.pick({300U, 300U, 300U, 600U, 600U, 1200U});
  header.Orientation = static_cast<cups_orient_t>(dice.pick({0, 0, 0, 1, 2, 3}));
  using Points = std::pair<unsigned, unsigned>;
  const auto [w, h] =
      dice.pick({Points{461, 261}, Points{460, 297}, Points{461, 370}, Points{461, 513},
                 Points{461, 600}, Points{585, 461}, Points{441, 461}, Points{612, 792}});
  header.PageSize[0] = w;
  header.PageSize[1] = h;
  header.NumCopies = dice.roll(4);
  RasterPage page = blank_page(header);
  switch (dice.roll(3)) {
    case 0:
      fill_with_noise(page, dice.engine());
      break;
    case 1:
      fill_with_gradient(page, dice.engine());
      break;
    default:
      fill_with_blocks(page, dice.engine());
  }
  return page;
}

JobRecipe any_job(unsigned seed) {
  Dice dice(seed);
  JobRecipe job;
  job.files = {{"rgb.icc", wide_rgb_profile()},
               {"cmyk.icm", cmyk_table_profile()},
               {"gray.icc", gray_profile()}};
  choose_settings(dice, job);
  add_arguments(dice, job);
  job.ribbon = dice.pick({"", "", "6x8", "6x4"});
  const unsigned count = dice.pick({1U, 1U, 1U, 2U, 3U});
  std::vector<RasterPage> pages;
  for (unsigned i = 0; i < count; ++i) {
    pages.push_back(any_page(dice));
  }
  job.input =
      raster_stream(pages, dice.one_in(2) ? RasterKind::kCompressed : RasterKind::kUncompressed);
  if (dice.one_in(10)) {
    job.input.resize(dice.roll(static_cast<unsigned>(job.input.size())));
  }
  if (dice.one_in(12) && private_tmp_possible()) {
    job.ppd.reset();
  }
  return job;
}

}  // namespace

void expect_random_jobs_like_reference(unsigned first, unsigned count) {
  for (unsigned seed = first; seed < first + count && !::testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("random job " + std::to_string(seed));
    expect_like_reference(any_job(seed));
  }
}
