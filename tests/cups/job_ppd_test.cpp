#include "apps/adapter/job_ppd.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/build_paths.h"
#include "tests/support/captured_log.h"
#include "tests/support/child_process.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

const std::string kQueuePpd = std::string(K905_BINARY_DIR) + "/ppd/K905.ppd";

// The copy as the filter would read it.
std::string job_ppd_text(const std::string& path, const char* options) {
  const JobPpd job = make_job_ppd(path.c_str(), options);
  EXPECT_EQ(job.failure, "");
  if (job.descriptor < 0) return "";
  std::string text = read_file("/dev/fd/" + std::to_string(job.descriptor));
  close(job.descriptor);
  return text;
}

std::vector<std::string> job_ppd_lines(const char* options) {
  return lines_of(job_ppd_text(kQueuePpd, options));
}

// A PPD file with the given text.
class ScratchPpd {
 public:
  explicit ScratchPpd(const std::string& text) : path_(folder_.write("queue.ppd", text)) {}
  [[nodiscard]] const char* path() const { return path_.c_str(); }

 private:
  ScratchFolder folder_;
  std::string path_;
};

std::string small_ppd(const std::string& body) {
  return "*PPD-Adobe: \"4.3\"\n*FormatVersion: \"4.3\"\n*FileVersion: \"1\"\n"
         "*LanguageVersion: English\n*LanguageEncoding: ISOLatin1\n*PCFileName: \"T.PPD\"\n"
         "*Manufacturer: \"T\"\n*Product: \"(T)\"\n*ModelName: \"T\"\n*NickName: \"T\"\n" +
         body;
}

TEST(JobPpd, WithoutOptionsIsTheQueuesFileExceptForTheMissingProfile) {
  std::string expected = read_file(kQueuePpd);
  const std::string no_profile = "*DefaultICCProfile: None\n";
  expected.erase(expected.find(no_profile), no_profile.size());
  EXPECT_EQ(job_ppd_text(kQueuePpd, ""), expected);
  EXPECT_EQ(job_ppd_text(kQueuePpd, nullptr), expected);
}

TEST(JobPpd, PaperOfTheJobBecomesEveryPaperDefault) {
  const auto lines = job_ppd_lines("PageSize=w432h576");
  EXPECT_THAT(lines, Contains("*DefaultPageSize: w432h576"));
  EXPECT_THAT(lines, Contains("*DefaultPageRegion: w432h576"));
  EXPECT_THAT(lines, Contains("*DefaultImageableArea: w432h576"));
  EXPECT_THAT(lines, Contains("*DefaultPaperDimension: w432h576"));
}

TEST(JobPpd, AMediaTypeChoosesTheFinishUnlessTheJobNamesIt) {
  for (const char* options : {"MediaType=Matte", "media-type=photographic-matte",
                              "media=na_index-4x6_4x6in,photographic-matte"}) {
    EXPECT_THAT(job_ppd_lines(options), Contains("*DefaultStpLaminate: Matte")) << options;
  }
  for (const char* options : {"MediaType=Matte StpLaminate=Glossy", "MediaType=Auto",
                              "media-type=photographic-glossy", "media-type=stationery"}) {
    EXPECT_THAT(job_ppd_lines(options), Contains("*DefaultStpLaminate: Glossy")) << options;
  }
}

TEST(JobPpd, DefaultMediaTypeOfTheQueueChoosesTheFinishOfJobsThatNameNone) {
  std::string queue = read_file(kQueuePpd);
  const std::string automatic = "*DefaultMediaType: Auto\n";
  queue.replace(queue.find(automatic), automatic.size(), "*DefaultMediaType: Matte\n");
  const ScratchPpd file(queue);
  EXPECT_THAT(job_ppd_text(file.path(), ""), HasSubstr("*DefaultStpLaminate: Matte\n"));
  for (const char* options :
       {"StpLaminate=Glossy", "MediaType=Glossy", "media-type=photographic-glossy"}) {
    EXPECT_THAT(job_ppd_text(file.path(), options), HasSubstr("*DefaultStpLaminate: Glossy\n"))
        << options;
  }
}

TEST(JobPpd, MediaOfTheJobSelectsItsPaper) {
  EXPECT_THAT(job_ppd_lines("media=w432h432"), Contains("*DefaultPageSize: w432h432"));
}

TEST(JobPpd, PageRegionOfTheJobSelectsItsPaper) {
  const auto lines = job_ppd_lines("PageRegion=w360h504");
  EXPECT_THAT(lines, Contains("*DefaultPageSize: w360h504"));
  EXPECT_THAT(lines, Contains("*DefaultPageRegion: w360h504"));
}

TEST(JobPpd, EveryKindOfChoiceIsApplied) {
  const auto lines = job_ppd_lines(
      "job-uuid=urn:uuid:1 StpLaminate=Matte StpBrightness=-100 StpGamma=1800 BleedLeft=-0.5 "
      "BleedTop=1.5 Resolution=300x600dpi StpColorCorrection=Bright number-up=1");
  for (const char* line :
       {"*DefaultStpLaminate: Matte", "*DefaultStpBrightness: -100", "*DefaultStpGamma: 1800",
        "*DefaultBleedLeft: -0.5", "*DefaultBleedTop: 1.5", "*DefaultResolution: 300x600dpi",
        "*DefaultStpColorCorrection: Bright", "*DefaultStpContrast: None"}) {
    EXPECT_THAT(lines, Contains(line));
  }
}

// CUPS passes the values True and False of a switch as "X" and "noX".
TEST(JobPpd, SwitchesAreAcceptedInEverySpelling) {
  EXPECT_THAT(job_ppd_lines("StpLinearContrast"), Contains("*DefaultStpLinearContrast: True"));
  EXPECT_THAT(job_ppd_lines("StpLinearContrast=true"), Contains("*DefaultStpLinearContrast: True"));
  EXPECT_THAT(job_ppd_lines("noStpLinearContrast"), Contains("*DefaultStpLinearContrast: False"));
}

TEST(JobPpd, MonochromeMeansGray) {
  EXPECT_THAT(job_ppd_lines("print-color-mode=monochrome"), Contains("*DefaultColorModel: Gray"));
}

TEST(JobPpd, AnUnknownChoiceLeavesTheQueuesDefault) {
  const auto lines = job_ppd_lines("StpLaminate=Satin StpBrightness=17 NoSuch=1");
  EXPECT_THAT(lines, Contains("*DefaultStpLaminate: Glossy"));
  EXPECT_THAT(lines, Contains("*DefaultStpBrightness: None"));
}

TEST(JobPpd, AProfileOfTheJobBecomesTheDefault) {
  EXPECT_THAT(job_ppd_lines("ICCProfile=sRGB.icc"), Contains("*DefaultICCProfile: sRGB.icc"));
}

// The filter uses any default of this option as a file name, even "None".
TEST(JobPpd, ProfileNoneRemovesTheDefault) {
  EXPECT_THAT(job_ppd_text(kQueuePpd, "ICCProfile=None"), Not(HasSubstr("*DefaultICCProfile")));
}

TEST(JobPpd, ByPaperBecomesTheProfileOfThePaper) {
  const ScratchFolder folder;
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());  // profiles are looked for here too
  folder.write("matte.icc", "");
  const auto refused = [](const char* options) {
    return make_job_ppd(kQueuePpd.c_str(), options).refusal;
  };
  EXPECT_THAT(refused("ICCProfile=ByPaper"), HasSubstr("k905-profiles.txt, is not found"));
  folder.write("k905-profiles.txt", "4x6 Matte matte.icc\n10x15 Glossy None\n* Matte gone.icc");
  EXPECT_THAT(job_ppd_lines("ICCProfile=ByPaper StpLaminate=Matte"),
              Contains("*DefaultICCProfile: matte.icc"));
  EXPECT_THAT(job_ppd_text(kQueuePpd, "ICCProfile=ByPaper"), Not(HasSubstr("*DefaultICCProfile")));
  EXPECT_EQ(refused("ICCProfile=ByPaper StpLaminate=Matte PageSize=w432h576"),
            "the profile gone.icc is not found");
  for (const char* line : {"7x9 Matte a.icc", "6x4 Shiny a.icc", "6x4 Matte", "6x4 Matte a.icc b",
                           "6x4 Matte /tmp/a.icc"}) {
    folder.write("k905-profiles.txt", std::string("\n") + line);
    EXPECT_THAT(refused("ICCProfile=ByPaper"), HasSubstr("k905-profiles.txt, line 2: ")) << line;
  }
  std::filesystem::current_path(before);
}

TEST(JobPpd, ALineBreakInAnOptionAddsNoLine) {
  EXPECT_THAT(job_ppd_text(kQueuePpd, "StpLaminate='Matte\n*DefaultStpGamma: 500' x='\n*Default'"),
              Not(HasSubstr("StpGamma: 500")));
}

TEST(JobPpd, RibbonOfTheQueueOrTheJobIsReported) {
  const JobPpd without_options = make_job_ppd(kQueuePpd.c_str(), "");
  EXPECT_EQ(without_options.ribbon, "");
  close(without_options.descriptor);
  for (const char* ribbon : {"6x4", "6x8"}) {
    const JobPpd job =
        make_job_ppd(kQueuePpd.c_str(), ("K905Ribbon=" + std::string(ribbon)).c_str());
    EXPECT_EQ(job.ribbon, ribbon);
    close(job.descriptor);
  }
}

TEST(JobPpd, CopyIsAnonymousAndStaysOpenOverExec) {
  const JobPpd job = make_job_ppd(kQueuePpd.c_str(), "");
  ASSERT_GE(job.descriptor, 0);
  struct stat status {};
  ASSERT_EQ(fstat(job.descriptor, &status), 0);
  EXPECT_EQ(status.st_nlink, 0U);
  EXPECT_EQ(fcntl(job.descriptor, F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_EQ(lseek(job.descriptor, 0, SEEK_CUR), 0);
  close(job.descriptor);
}

TEST(JobPpd, MissingPpdVariableIsReported) {
  const JobPpd job = make_job_ppd(nullptr, "");
  EXPECT_EQ(job.descriptor, -1);
  EXPECT_EQ(job.failure, "the variable PPD is not set");
}

TEST(JobPpd, AFileThatIsMissingIsNamed) {
  const JobPpd job = make_job_ppd("/nonexistent/K905.ppd", "");
  EXPECT_EQ(job.descriptor, -1);
  EXPECT_THAT(job.failure, StartsWith("/nonexistent/K905.ppd: "));
}

TEST(JobPpd, FileThatIsNotAPpdIsRefused) {
  const ScratchPpd file("this is no PPD file\n");
  const JobPpd job = make_job_ppd(file.path(), "");
  EXPECT_EQ(job.descriptor, -1);
  EXPECT_NE(job.failure, "");
}

TEST(JobPpd, AnOptionWithoutADefaultGetsTheJobsChoice) {
  const ScratchPpd file(
      small_ppd("*OpenUI *StpLaminate/Finish: PickOne\n*StpLaminate Glossy: \"\"\n"
                "*StpLaminate Matte: \"\"\n*CloseUI: *StpLaminate\n"));
  EXPECT_THAT(job_ppd_text(file.path(), "StpLaminate=Matte"),
              HasSubstr("*CloseUI: *StpLaminate\n*DefaultStpLaminate: Matte\n"));
  EXPECT_THAT(job_ppd_text(file.path(), ""), Not(HasSubstr("*Default")));
}

TEST(JobPpd, LineEndsOfEveryKindAreAccepted) {
  for (const std::string end : {"\n", "\r\n", "\r"}) {
    std::string text = small_ppd(
        "*OpenUI *StpLaminate/Finish: PickOne\n*DefaultStpLaminate: Glossy\n"
        "*StpLaminate Glossy: \"\"\n*StpLaminate Matte: \"\"\n*CloseUI: *StpLaminate\n");
    std::string translated;
    for (const char c : text) translated += c == '\n' ? end : std::string(1, c);
    const ScratchPpd file(translated);
    EXPECT_THAT(job_ppd_text(file.path(), "StpLaminate=Matte"),
                HasSubstr("PickOne\n*DefaultStpLaminate: Matte\n*StpLaminate Glossy"));
  }
}

TEST(JobPpd, DefaultWithATranslationIsReplacedCompletely) {
  const ScratchPpd file(small_ppd(
      "*OpenUI *StpLaminate/Finish: PickOne\n*DefaultStpLaminate: Glossy/Shiny\n"
      "*StpLaminate Glossy/Shiny: \"\"\n*StpLaminate Matte/Dull: \"\"\n*CloseUI: *StpLaminate\n"));
  EXPECT_THAT(job_ppd_text(file.path(), "StpLaminate=Matte"),
              HasSubstr("*DefaultStpLaminate: Matte\n"));
}

// A custom value is not one of the choices in the file; the filter could not read it.
TEST(JobPpd, ACustomValueLeavesTheDefault) {
  const ScratchPpd file(
      small_ppd("*OpenUI *StpLaminate/Finish: PickOne\n*DefaultStpLaminate: Glossy\n"
                "*StpLaminate Glossy: \"\"\n*CloseUI: *StpLaminate\n*CustomStpLaminate True: \"\"\n"
                "*ParamCustomStpLaminate Text: 1 string 0 30\n"));
  EXPECT_THAT(job_ppd_text(file.path(), "StpLaminate=Custom.Matte"),
              HasSubstr("*DefaultStpLaminate: Glossy\n"));
}

}  // namespace
