// Which paper a job's options choose.
#include "apps/adapter/job_paper.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "apps/adapter/job_ppd.h"
#include "tests/support/build_paths.h"

namespace {

using ::testing::HasSubstr;

const std::string kQueuePpd = std::string(K905_BINARY_DIR) + "/ppd/K905.ppd";

JobPpd job_with(const std::string& options) {
  JobPpd job = make_job_ppd(kQueuePpd.c_str(), options.c_str());
  if (job.descriptor >= 0) close(job.descriptor);
  return job;
}

std::string paper_of(const std::string& options) {
  const JobPpd job = job_with(options);
  EXPECT_EQ(job.refusal, "");
  return job.paper == nullptr ? "" : job.paper->ppd_name;
}

TEST(JobPaper, IsTheQueuesDefaultWithoutAnOption) {
  EXPECT_EQ(paper_of(""), "w288h432");
  EXPECT_EQ(paper_of("PageSize= media="), "w288h432");
}

TEST(JobPaper, MediaIsAcceptedUnderEveryCommonName) {
  EXPECT_EQ(paper_of("media=6x8"), "w432h576");
  EXPECT_EQ(paper_of("media=8x6"), "w432h576");
  EXPECT_EQ(paper_of("media=15x20"), "w432h576");
  EXPECT_EQ(paper_of("media=w432h576"), "w432h576");
  EXPECT_EQ(paper_of("media=5x7"), "w360h504");
  EXPECT_EQ(paper_of("media=na_5x7_5x7in"), "w360h504");
  EXPECT_EQ(paper_of("media=na_index-4x6_4x6in"), "w288h432");
  EXPECT_EQ(paper_of("media=4x6"), "w288h432");
  EXPECT_EQ(paper_of("media=10x15"), "w288h432");
  EXPECT_EQ(paper_of("media=custom_6x8in_6x8in"), "w432h576");
}

TEST(JobPaper, WordsInMediaThatAreNotSizesAreIgnored) {
  EXPECT_EQ(paper_of("media=6x8,photographic-glossy"), "w432h576");
  EXPECT_EQ(paper_of("media=auto"), "w288h432");
}

TEST(JobPaper, PageSizeOverridesMedia) {
  EXPECT_EQ(paper_of("media=5x7 PageSize=w432h576"), "w432h576");
  EXPECT_EQ(paper_of("PageSize=6x6"), "w432h432");
}

TEST(JobPaper, NamesOfCutPapersAreAccepted) {
  EXPECT_EQ(paper_of("PageSize=w288h432-div2"), "w288h432-div2");
  EXPECT_EQ(paper_of("PageSize=w432h576-div4"), "w432h576-div4");
  EXPECT_EQ(paper_of("media=6x4*2"), "w432h576-div2");
}

TEST(JobPaper, CutCombinesWithAnyNameOfThePaper) {
  EXPECT_EQ(paper_of("K905Cut=6x2"), "w288h432-div2");
  EXPECT_EQ(paper_of("media=na_index-4x6_4x6in K905Cut=6x2"), "w288h432-div2");
  EXPECT_EQ(paper_of("media=6x8 K905Cut=6x2"), "w432h576-div4");
  EXPECT_EQ(paper_of("PageSize=w432h576 K905Cut=6x4"), "w432h576-div2");
  EXPECT_EQ(paper_of("PageSize=w432h576-div4 K905Cut=None"), "w432h576-div4");
}

TEST(JobPaper, PaperThatCannotBeCutIsRefused) {
  const JobPpd job = job_with("media=5x7 K905Cut=6x2");
  EXPECT_EQ(job.paper, nullptr);
  EXPECT_EQ(job.refusal, "The 5x7 paper cannot be cut into 6x2; 6x4 and 6x8 paper can.");
}

TEST(JobPaper, UnknownSizeIsRefusedWithTheListOfPapers) {
  for (const char* options :
       {"media=6x9", "media=A4", "media=iso_a4_210x297mm", "PageSize=Letter", "media=banana",
        "PageSize=Custom.10x10cm", "media=Custom.100x100mm", "media=A4,photographic"}) {
    const JobPpd job = job_with(options);
    EXPECT_EQ(job.paper, nullptr) << options;
    EXPECT_EQ(job.descriptor, -1) << options;
    EXPECT_THAT(job.refusal, HasSubstr("It has 5x3.5 (13x9), 5x5")) << options;
  }
  EXPECT_THAT(job_with("media=6x9").refusal, HasSubstr("no paper \"6x9\""));
}

TEST(JobPaper, LineBreakInASizeStaysInOneLine) {
  EXPECT_THAT(job_with("PageSize='a\nPAGE: 1 1'").refusal, HasSubstr("\"a PAGE: 1 1\""));
}

TEST(JobPaper, ChoicesForTheLayoutAreThoseOfTheJob) {
  const JobPpd job = job_with("PageSize=6x8 Resolution=300x600dpi BleedTop=1.0 print-scaling=fit");
  EXPECT_EQ(job.choices.at("PageSize"), "w432h576");
  EXPECT_EQ(job.choices.at("Resolution"), "300x600dpi");
  EXPECT_EQ(job.choices.at("BleedTop"), "1.0");
  EXPECT_EQ(job.choices.at("BleedLeft"), "0.0");
  EXPECT_EQ(job.scaling, "fit");
}

}  // namespace
