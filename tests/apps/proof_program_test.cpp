// k905-preview --proof: shows the colors of sheets according to the profile of the printer.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "tests/apps/programs.h"
#include "tests/support/profile_builder.h"
#include "tests/support/wire_stream.h"

namespace {

using testing::IsEmpty;

using Color = std::array<double, 3>;

// The sRGB number for an amount of light from 0 to 1.
double srgb_number(double light) {
  light = std::clamp(light, 0.0, 1.0);
  return 255 * (light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055);
}

// Converts CIE Lab under D50 to sRGB numbers: to XYZ, then with the matrix of the sRGB primaries
// under D50.
Color srgb_of_lab(double lightness, double a, double b) {
  const auto inverse = [](double t) {
    constexpr double knee = 6.0 / 29.0;
    return t > knee ? t * t * t : 3 * knee * knee * (t - 4.0 / 29.0);
  };
  const double fy = (lightness + 16) / 116;
  const double x = 0.9642 * inverse(fy + a / 500);
  const double y = inverse(fy);
  const double z = 0.8249 * inverse(fy - b / 200);
  return {srgb_number(3.1338561 * x - 1.6168667 * y - 0.4906146 * z),
          srgb_number(-0.9787684 * x + 1.9161415 * y + 0.0334540 * z),
          srgb_number(0.0719453 * x - 0.2289914 * y + 1.4052427 * z)};
}

// A sheet of one color, given as the red, green and blue values of the filter.
std::string sheet_of(std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
  SheetContent sheet;
  sheet.plane = {std::vector<std::uint8_t>(6, red), std::vector<std::uint8_t>(6, green),
                 std::vector<std::uint8_t>(6, blue)};
  return wire_sheet(sheet);
}

class Proof : public testing::Test {
 protected:
  Color shown(const std::string& profile, std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    folder_.write("printer.icc", profile);
    const ChildResult result =
        preview(folder_, {"--proof", "printer.icc"}, sheet_of(red, green, blue));
    EXPECT_EQ(result.status, 0) << result.log;
    EXPECT_THAT(result.log, IsEmpty());
    const k905::Picture picture = picture_in(folder_, "sheet-1.png");
    EXPECT_EQ(picture.bytes.size(), 18U);
    return {double{1} * picture.bytes[0], double{1} * picture.bytes[1],
            double{1} * picture.bytes[2]};
  }

  static void expect_near(const Color& seen, const Color& wanted, double tolerance) {
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_NEAR(seen[i], wanted[i], tolerance) << "channel " << i;
    }
  }

  ScratchFolder folder_;
};

TEST_F(Proof, GrayOfAnotherGammaIsConvertedToSrgb) {
  // Gamma 1.8: 120 is (120 / 255) ^ 1.8 of the light.
  const double wanted = srgb_number(std::pow(120.0 / 255, 1.8));
  ASSERT_GT(wanted, 130);
  expect_near(shown(wide_rgb_profile(), 120, 120, 120), {wanted, wanted, wanted}, 1.5);
}

TEST_F(Proof, WhiteOfThePaperIsWhiteOnTheScreen) {
  for (const std::string& profile : {wide_rgb_profile(), cmyk_table_profile(), gray_profile()}) {
    expect_near(shown(profile, 255, 255, 255), {255, 255, 255}, 1);
  }
}

TEST_F(Proof, WidePrimariesLookMoreSaturatedOnTheScreen) {
  const Color seen = shown(wide_rgb_profile(), 200, 100, 50);
  EXPECT_GT(seen[0], 205);
  EXPECT_LT(seen[2], seen[1]);
  EXPECT_GT(seen[0] - seen[1], 100);
}

TEST_F(Proof, GrayProfileUsesTheFirstPlane) {
  const double wanted = srgb_number(std::pow(100.0 / 255, 2.2));
  expect_near(shown(gray_profile(), 100, 100, 100), {wanted, wanted, wanted}, 1.5);
}

TEST_F(Proof, InksAreTheInvertedPlanes) {
  // The inks of the profile: each takes 25 of the lightness; cyan lowers the a axis by a
  // quarter of its range of 256, magenta raises it, yellow raises the b axis.
  expect_near(shown(cmyk_table_profile(), 0, 255, 255), srgb_of_lab(75, -64, 0), 3);
  expect_near(shown(cmyk_table_profile(), 255, 0, 255), srgb_of_lab(75, 64, 0), 3);
  expect_near(shown(cmyk_table_profile(), 255, 255, 0), srgb_of_lab(75, 0, 64), 3);
}

TEST_F(Proof, TheProfileIsFoundByNameAsTheFilterFindsIt) {
  folder_.write("printer.icc", wide_rgb_profile());
  EXPECT_EQ(preview(folder_, {"--proof", "printer"}, sheet_of(9, 9, 9)).status, 0);
  EXPECT_EQ(
      preview(folder_, {"--proof", folder_.path() + "/printer.icc"}, sheet_of(9, 9, 9)).status, 0);
}

TEST_F(Proof, ContactSheetShowsProofs) {
  folder_.write("printer.icc", wide_rgb_profile());
  ASSERT_EQ(preview(folder_, {"--proof", "printer.icc", "--contact", "all.png", "--width", "3"},
                    sheet_of(120, 120, 120))
                .status,
            0);
  const k905::Picture all = picture_in(folder_, "all.png");
  EXPECT_NEAR(all.bytes[(std::size_t{12} * all.width + 12) * 3],
              srgb_number(std::pow(120.0 / 255, 1.8)), 1.5);
}

// A profile with a changed class, which is in the bytes 12 to 15.
std::string profile_of_class(const char* kind) { return wide_rgb_profile().replace(12, 4, kind); }

TEST_F(Proof, UnusableProfileIsReportedAndNothingIsWritten) {
  const std::vector<std::pair<std::string, std::string>> profiles{
      {"", "cannot be read"},
      {std::string(400, 'x'), "cannot be read"},
      {wide_rgb_profile().substr(0, 100), "cannot be read"},
      {lab_profile(), "is not a printer profile"},
      {hollow_rgb_profile(), "is not a printer profile"},
      {profile_of_class("scnr"), "is not a printer profile"},
      {profile_of_class("link"), "is not a printer profile"},
      {profile_of_class("\xFF\xFE\xFD\xFC"),
       "cannot be read"},  // invalid class, refused by Little CMS
  };
  for (const auto& [profile, reason] : profiles) {
    folder_.write("printer.icc", profile);
    for (const std::vector<std::string>& more :
         std::vector<std::vector<std::string>>{{}, {"--contact", "all.png"}}) {
      std::vector<std::string> arguments{"--proof", "printer.icc"};
      arguments.insert(arguments.end(), more.begin(), more.end());
      const ChildResult result = preview(folder_, arguments, sheet_of(9, 9, 9));
      EXPECT_EQ(result.status, 1) << reason;
      EXPECT_EQ(result.log, "k905-preview: the profile printer.icc " + reason + "\n");
      EXPECT_THAT(result.output, IsEmpty());
      EXPECT_FALSE(folder_.read("sheet-1.png"));
      EXPECT_FALSE(folder_.read("all.png"));
    }
  }
}

TEST_F(Proof, MissingProfileIsReported) {
  const ChildResult result = preview(folder_, {"--proof", "/nowhere/x.icc"}, sheet_of(9, 9, 9));
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.log, "k905-preview: the profile /nowhere/x.icc is not found\n");
  EXPECT_FALSE(folder_.read("sheet-1.png"));
}

TEST_F(Proof, FifoAsProfileDoesNotBlock) {
  ASSERT_EQ(mkfifo((folder_.path() + "/printer.icc").c_str(), 0600), 0);
  EXPECT_EQ(preview(folder_, {"--proof", "printer.icc"}, sheet_of(9, 9, 9)).log,
            "k905-preview: the profile printer.icc cannot be read\n");
}

TEST_F(Proof, WrongProfileIsReportedBeforeTheStreamIsRead) {
  // Reported before anything else, even if the stream is invalid too.
  EXPECT_EQ(preview(folder_, {"--proof", "/nowhere/x.icc"}, "nonsense").log,
            "k905-preview: the profile /nowhere/x.icc is not found\n");
}

TEST_F(Proof, CheckRefusesAProfile) {
  EXPECT_EQ(preview(folder_, {"--check", "--proof", "x"}, sheet_of(9, 9, 9)).status, 2);
}

}  // namespace
