#include "device/media_check.h"

#include <gtest/gtest.h>

namespace k905 {
namespace {

TEST(MediaCheck, SheetsNeedTheMediaOfTheirCanvas) {
  EXPECT_EQ(media_for_sheet(1920, 1088), "5x3.5");
  EXPECT_EQ(media_for_sheet(1920, 1540), "5x5");
  EXPECT_EQ(media_for_sheet(1920, 2138), "5x7");
  EXPECT_EQ(media_for_sheet(1920, 1240), "6x4");
  EXPECT_EQ(media_for_sheet(1920, 1836), "6x6");
  EXPECT_EQ(media_for_sheet(1920, 2436), "6x8");
  EXPECT_EQ(media_for_sheet(1920, 2498), "6x8");  // two 6x4 pages on one sheet
}

TEST(MediaCheck, FineSheetsHaveTwiceTheRows) {
  EXPECT_EQ(media_for_sheet(1920, 2480), "6x4");
  EXPECT_EQ(media_for_sheet(1920, 4872), "6x8");
}

TEST(MediaCheck, OtherSizesHaveNoRequirement) {
  EXPECT_EQ(media_for_sheet(1919, 1240), "");
  EXPECT_EQ(media_for_sheet(1920, 1239), "");
  EXPECT_EQ(media_for_sheet(1, 1), "");
}

TEST(MediaCheck, MediaFitsSheetsOfItsWidthUpToItsLength) {
  EXPECT_TRUE(media_fits_sheet("6x4", "6x4"));
  EXPECT_TRUE(media_fits_sheet("6x8", "6x4"));
  EXPECT_TRUE(media_fits_sheet("6x9", "6x8"));
  EXPECT_TRUE(media_fits_sheet("4x6", "6x4"));  // named by its other side first
  EXPECT_TRUE(media_fits_sheet("5x7", "5x3.5"));
  EXPECT_FALSE(media_fits_sheet("6x4", "6x8"));
  EXPECT_FALSE(media_fits_sheet("4x6", "6x8"));
  EXPECT_FALSE(media_fits_sheet("6x8", "5x7"));
  EXPECT_FALSE(media_fits_sheet("5x3.5", "5x5"));
  EXPECT_FALSE(media_fits_sheet("5x7", "6x4"));
}

TEST(MediaCheck, UnknownNamesAreNotAMismatch) {
  EXPECT_TRUE(media_fits_sheet("", "6x8"));
  EXPECT_TRUE(media_fits_sheet("6x4", ""));
}

}  // namespace
}  // namespace k905
