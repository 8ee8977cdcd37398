// Runs by hand: the log in its file, and a image of every stage.
#include <gtest/gtest.h>

#include <random>

#include "tests/jobs/job_check.h"
#include "tests/support/profile_builder.h"

namespace {

RasterPage image_page(unsigned seed, unsigned vertical_dpi = 300,
                      cups_orient_t orientation = CUPS_ORIENT_0) {
  std::mt19937 random(seed);
  cups_page_header2_t header = page_header(50, 40);
  header.HWResolution[1] = vertical_dpi;
  header.Orientation = orientation;
  RasterPage page = blank_page(header);
  fill_with_gradient(page, random);
  return page;
}

JobRecipe by_hand() {
  JobRecipe job;
  job.ppd.reset();
  return job;
}

TEST(ByHand, EveryStageSavesAnImage) {
  JobRecipe job = by_hand();
  job.arguments = {"rastertok905", "1", "me", "t", "1", "", "--saturation", "200", "BleedTop=2"};
  job.input = raster_stream({image_page(1)});
  expect_like_reference(job);
}

TEST(ByHand, APageThatIsNotResizedHasNoImageOfIt) {
  JobRecipe job = by_hand();
  std::mt19937 random(2);
  RasterPage page = blank_page(page_header(1844, 1240));
  fill_with_blocks(page, random);
  job.input = raster_stream({page}, RasterKind::kCompressed);
  expect_like_reference(job);
}

TEST(ByHand, ARotatedInterlacedPageIsSavedAtEveryStep) {
  JobRecipe job = by_hand();
  job.files["mine.icc"] = rgb_matrix_profile();
  job.arguments.insert(job.arguments.end(), {"--icc-profile", "mine", "--gamma", "1400"});
  job.input = raster_stream({image_page(3, 600, CUPS_ORIENT_90)});
  expect_like_reference(job);
}

TEST(ByHand, ImageIsSavedWhenTheProfileCannotBeUsed) {
  JobRecipe job = by_hand();
  job.files["mine.icc"] = lab_profile();
  job.arguments.insert(job.arguments.end(), {"--icc-profile", "mine"});
  job.input = raster_stream({image_page(4)});
  expect_like_reference(job);
}

TEST(ByHand, APairOfPagesIsSavedBeforeAndAfterTheMerge) {
  JobRecipe job = by_hand();
  job.ribbon = "6x8";
  job.input = raster_stream({image_page(5), image_page(6)});
  expect_like_reference(job);
}

TEST(ByHand, AShortPageUnderATallOneIsPaddedWithWhite) {
  JobRecipe job = by_hand();
  job.ribbon = "6x8";
  job.input = raster_stream({image_page(7, 600), image_page(8)});
  expect_like_reference(job);
}

TEST(ByHand, CopiesAndACutPage) {
  JobRecipe job = by_hand();
  job.arguments.insert(job.arguments.end(), {"--copies", "2"});
  job.input = raster_stream({image_page(9), image_page(10)});
  job.input.resize(job.input.size() - 700);
  expect_like_reference(job);
}

TEST(ByHand, NoImagesWithoutRaster) {
  JobRecipe job = by_hand();
  expect_like_reference(job);
}

}  // namespace
