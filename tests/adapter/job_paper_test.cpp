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

TEST(JobPaper, IsChosenByMediaPageSizeAndCutUnderEveryCommonName) {
  const struct {
    const char* paper;
    std::vector<const char*> options;
  } papers[] = {
      // The default of the queue. Words in media that are not sizes are ignored.
      {"w288h432",
       {"", "PageSize= media=", "media=auto", "media=na_index-4x6_4x6in", "media=4x6",
        "media=10x15"}},
      {"w432h576",
       {"media=6x8", "media=8x6", "media=15x20", "media=w432h576", "media=custom_6x8in_6x8in",
        "media=6x8,photographic-glossy", "media=5x7 PageSize=w432h576"}},
      {"w360h504", {"media=5x7", "media=na_5x7_5x7in"}},
      {"w432h432", {"PageSize=6x6"}},
      {"w288h432-div2",
       {"PageSize=w288h432-div2", "K905Cut=6x2", "media=na_index-4x6_4x6in K905Cut=6x2"}},
      {"w432h576-div4",
       {"PageSize=w432h576-div4", "media=6x8 K905Cut=6x2", "PageSize=w432h576-div4 K905Cut=None"}},
      {"w432h576-div2", {"media=6x4*2", "PageSize=w432h576 K905Cut=6x4"}},
  };
  for (const auto& [paper, all_options] : papers) {
    for (const char* options : all_options) EXPECT_EQ(paper_of(options), paper) << options;
  }
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
