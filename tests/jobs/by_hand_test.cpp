// Jobs started by hand: the log is written to a file, and every stage saves an image.
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

JobRecipe job_by_hand() {
  JobRecipe job;
  job.ppd.reset();
  return job;
}

TEST(ByHand, PageThatIsNotResizedHasNoImageOfTheResize) {
  JobRecipe job = job_by_hand();
  std::mt19937 random(2);
  RasterPage page = blank_page(page_header(1844, 1240));
  fill_with_blocks(page, random);
  job.input = raster_stream({page}, RasterKind::kCompressed);
  expect_like_reference(job);
}

TEST(ByHand, RotatedInterlacedPageIsSavedAtEveryStep) {
  JobRecipe job = job_by_hand();
  job.files["mine.icc"] = wide_rgb_profile();
  job.arguments.insert(job.arguments.end(),
                       {"--icc-profile", "mine", "--gamma", "1400", "BleedTop=2"});
  job.input = raster_stream({image_page(3, 600, CUPS_ORIENT_90)});
  expect_like_reference(job);
}

TEST(ByHand, UnusableProfileStillHasItsImage) {
  JobRecipe job = job_by_hand();
  job.files["mine.icc"] = lab_profile();
  job.arguments.insert(job.arguments.end(), {"--icc-profile", "mine"});
  job.input = raster_stream({image_page(4)});
  expect_like_reference(job);
}

TEST(ByHand, PairOfPagesIsSavedBeforeAndAfterTheMerge) {
  JobRecipe job = job_by_hand();
  job.ribbon = "6x8";
  job.input = raster_stream({image_page(5), image_page(6)});
  expect_like_reference(job);
}

TEST(ByHand, ShortPageBelowATallOneIsPaddedWithWhite) {
  JobRecipe job = job_by_hand();
  job.ribbon = "6x8";
  job.input = raster_stream({image_page(7, 600), image_page(8)});
  expect_like_reference(job);
}

TEST(ByHand, CopiesOfAnIncompletePageAreLogged) {
  JobRecipe job = job_by_hand();
  job.arguments.insert(job.arguments.end(), {"--copies", "2"});
  job.input = raster_stream({image_page(9), image_page(10)});
  job.input.resize(job.input.size() - 700);
  expect_like_reference(job);
}

TEST(ByHand, WithoutRasterDataThereAreNoImages) {
  JobRecipe job = job_by_hand();
  expect_like_reference(job);
}

}  // namespace
