// Sheets as pictures, and picture files in and out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "companions/pictures/read_picture.h"
#include "companions/pictures/sheet_picture.h"
#include "companions/pictures/write_png.h"

namespace {

using testing::ElementsAre;

Sheet two_by_one() {
  Sheet sheet;
  sheet.width = 2;
  sheet.height = 1;
  sheet.plane[0] = {1, 2};
  sheet.plane[1] = {3, 4};
  sheet.plane[2] = {5, 6};
  return sheet;
}

TEST(SheetPicture, UndoesTheMirrorForTheCustomer) {
  EXPECT_THAT(sheet_picture(two_by_one(), Mirror::undo).bytes, ElementsAre(2, 4, 6, 1, 3, 5));
}

TEST(SheetPicture, LeavesTheMirrorWhenAsked) {
  EXPECT_THAT(sheet_picture(two_by_one(), Mirror::leave).bytes, ElementsAre(1, 3, 5, 2, 4, 6));
}

}  // namespace
