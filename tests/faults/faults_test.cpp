// Runs the raster job with failing allocations, writes and reads. The reference computes the result
// for every single failure; no memory is leaked, and the next page is correct.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <set>

#include "tests/faults/fault_run.h"
#include "tests/faults/faulty_write.h"
#include "tests/support/child_process.h"
#include "tests/support/environment_guard.h"
#include "tests/support/profile_builder.h"
#include "tests/support/raster_builder.h"
#include "tests/support/reference.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

constexpr char kMissingPpd[] = "/nonexistent/queue.ppd";

RasterPage small_page(unsigned seed, unsigned colors = 3) {
  std::mt19937 random(seed);
  RasterPage page = blank_page(smallest_page_header(40, 30, colors));
  fill_with_gradient(page, random);
  return page;
}

ReferenceJob job_of(const std::vector<RasterPage>& pages) {
  ReferenceJob job;
  job.arguments = {"K905", "1", "me", "t", "1", ""};
  job.ppd_path = kMissingPpd;
  job.input = raster_stream(pages);
  return job;
}

FaultRun run_job(const ReferenceJob& job, const Faults& faults) {
  const EnvironmentGuard ppd("PPD", kMissingPpd);
  const EnvironmentGuard ribbon("K905_RIBBON", job.ribbon.empty() ? nullptr : job.ribbon.c_str());
  return run_with_faults(job.input, job.arguments, faults);
}

// The reference's result with the process id of this run in the log.
ReferenceResult reference_for(const FaultRun& run, ReferenceResult result) {
  result.log.at(1) = "K905-1: Process ID: " + std::to_string(run.process_id);
  return result;
}

bool same(const FaultRun& run, const ReferenceResult& wanted) {
  return run.status == wanted.status && run.log == wanted.log && run.output == wanted.output;
}

void expect_same(const FaultRun& run, const ReferenceResult& wanted) {
  EXPECT_TRUE(run.ended_normally);
  EXPECT_EQ(run.status, wanted.status);
  EXPECT_EQ(run.log, wanted.log);
  EXPECT_TRUE(run.output == wanted.output)
      << run.output.size() << " bytes instead of " << wanted.output.size();
}

void expect_nothing_leaked(const FaultRun& run) {
  EXPECT_EQ(run.counts.still_allocated, 0);
  EXPECT_EQ(run.counts.invalid_frees, 0);
}

// The first `count` sheets of a stream.
std::string first_sheets(const std::string& stream, std::size_t count) {
  std::size_t end = 0;
  for (std::size_t sheets = 0; sheets < count; ++sheets) {
    end = stream.find("\x1bPCNTRL START ", end);  // does not occur in the test images
    end = end == std::string::npos ? stream.size() : end + 32;
  }
  return stream.substr(0, end);
}

// ---- memory ----

constexpr char kSourcePlanes[] = "K905-1: malloc src planes failed";
constexpr char kLineBuffer[] = "K905-1: malloc line buffer failed";
constexpr char kResizedPlanes[] = "K905-1: malloc resized planes failed";
constexpr char kDeinterlace[] = "K905-1: ERROR: Failed to allocate memory for deinterlace";
constexpr char kConversionBuffers[] = "K905-1: ERROR: Failed to allocate conversion buffers";
constexpr char kRotatedPlanes[] = "K905-1: malloc rotated planes failed";
constexpr char kCanvasPlanes[] = "K905-1: malloc canvas planes failed";
constexpr char kScaledPlanes[] = "K905-1: malloc scaled planes failed";
constexpr char kMerge[] = "K905-1: Failed to merge pages";

// "malloc(123) failed" counts as the same failure for any number.
std::string without_number(const std::string& line) {
  const std::string begin = "K905-1: malloc(";
  if (line.rfind(begin, 0) != 0) {
    return line;
  }
  return begin + line.substr(line.find(')'));
}

// Makes every allocation of the job fail once.
class Shortages {
 public:
  explicit Shortages(ReferenceJob job) : job_(std::move(job)), undisturbed_(reference_run(job_)) {}

  // Returns the log lines of the failures that change the result.
  std::set<std::string> visible_failures() {
    for (long n = 1;; ++n) {
      SCOPED_TRACE("allocation " + std::to_string(n));
      Faults faults;
      faults.failing_allocation = n;
      const FaultRun run = run_job(job_, faults);
      EXPECT_TRUE(run.ended_normally);
      expect_nothing_leaked(run);
      if (run.counts.allocations < n) {
        expect_same(run, reference_for(run, undisturbed_));
        return seen_;
      }
      // Some allocations are optional: without them the result is the same.
      if (!same(run, reference_for(run, undisturbed_)) && !explained(run)) {
        ADD_FAILURE() << "unexpected result: " << first_new_line(run);
      }
      if (::testing::Test::HasFailure()) {
        return {};
      }
    }
  }

 private:
  std::string first_new_line(const FaultRun& run) const {
    const std::vector<std::string> wanted = reference_for(run, undisturbed_).log;
    const auto at = std::mismatch(run.log.begin(), run.log.end(), wanted.begin(), wanted.end());
    return at.first != run.log.end() ? *at.first : "";
  }

  bool explained(const FaultRun& run) {
    const std::string line = without_number(first_new_line(run));
    // Three planes for each of three sheets: no allocation point is reached more than nine times.
    for (int visit = 1; visit <= 9; ++visit) {
      const auto key = std::make_pair(line, visit);
      if (!expected_.contains(key)) {
        ReferenceJob job = job_;
        job.shortage = {line, visit};
        ReferenceResult answer = reference_run(job);
        if (answer.log == undisturbed_.log) {
          break;  // this allocation point is reached less often
        }
        expected_[key] = std::move(answer);
      }
      if (same(run, reference_for(run, expected_.at(key)))) {
        seen_.insert(line);
        return true;
      }
    }
    return false;
  }

  ReferenceJob job_;
  ReferenceResult undisturbed_;
  std::map<std::pair<std::string, int>, ReferenceResult> expected_;
  std::set<std::string> seen_;
};

ReferenceJob with_arguments(ReferenceJob job, const std::vector<std::string>& arguments) {
  job.arguments.insert(job.arguments.end(), arguments.begin(), arguments.end());
  return job;
}

// Pages for a paper of which two share a sheet.
ReferenceJob paired_pages(unsigned count) {
  std::vector<RasterPage> pages;
  for (unsigned seed = 1; seed <= count; ++seed) {
    pages.push_back(small_page(seed));
    pages.back().header.PageSize[1] = 298;
  }
  ReferenceJob job = job_of(pages);
  job.ribbon = "6x8";
  return job;
}

// Lines longer than their pixels.
ReferenceJob long_lines() {
  std::mt19937 random(1);
  cups_page_header2_t header = small_page(1).header;
  header.cupsBytesPerLine += 51;  // libcups takes whole pixels only
  RasterPage page = blank_page(header);
  fill_with_gradient(page, random);
  return job_of({page, small_page(2)});
}

ReferenceJob rotated_interlaced() {
  RasterPage page = small_page(1);
  page.header.HWResolution[1] = 600;
  page.header.Orientation = CUPS_ORIENT_90;
  return job_of({page, small_page(2)});
}

// The bleeds leave exactly the target size: nothing is resized or stretched.
ReferenceJob placed_as_it_is() {
  std::mt19937 random(3);
  cups_page_header2_t header = small_page(1).header;
  header.cupsWidth = 1548;
  header.cupsHeight = 1088;
  header.cupsBytesPerLine = 1548 * 3;
  RasterPage page = blank_page(header);
  fill_with_blocks(page, random);
  return with_arguments(job_of({page}),
                        {"BleedLeft=11.5", "BleedRight=9.8", "BleedA=-9", "BleedB=-9"});
}

struct Shortage {
  const char* name;
  ReferenceJob (*job)();
  std::set<std::string> lines;  // in addition to those of every job
  bool fits_exactly = false;    // is neither resized nor stretched
};

class EveryShortage : public ::testing::TestWithParam<Shortage> {};

TEST_P(EveryShortage, FailsItsPageAndNotTheNext) {
  std::set<std::string> lines = GetParam().lines;
  lines.insert({kSourcePlanes, kCanvasPlanes, kNoMemoryToSkipAPage});
  if (!GetParam().fits_exactly) {
    lines.insert({kResizedPlanes, kScaledPlanes});
  }
  EXPECT_EQ(Shortages(GetParam().job()).visible_failures(), lines);
}

INSTANTIATE_TEST_SUITE_P(
    Faults, EveryShortage,
    ::testing::Values(
        Shortage{"TwoPages",
                 [] {
                   return job_of({small_page(1), small_page(2)});
                 },
                 {}},
        Shortage{"FormatsToConvert",
                 [] {
                   return job_of({small_page(1, 4), small_page(2, 1)});
                 },
                 {kLineBuffer}},
        Shortage{"LongLines", long_lines, {kLineBuffer}},
        Shortage{"RotatedInterlaced", rotated_interlaced, {kDeinterlace, kRotatedPlanes}},
        Shortage{"PlacedAsItIs", placed_as_it_is, {}, true},
        Shortage{"ToneThatMixesChannels",
                 [] {
                   return with_arguments(
                       job_of({small_page(1)}),
                       {"StpSaturation=300", "StpGamma=1300", "StpColorCorrection=Hue"});
                 },
                 {}},
        Shortage{"Copies",
                 [] {
                   return with_arguments(job_of({small_page(1), small_page(2)}), {"--copies", "2"});
                 },
                 {}},
        Shortage{"PairedCopies",
                 [] {
                   return with_arguments(paired_pages(2), {"--copies", "2"});
                 },
                 {kMerge}},
        Shortage{"Pair", [] { return paired_pages(3); }, {kMerge}}),
    [](const auto& instance) { return instance.param.name; });

class LowMemoryWithProfile : public ::testing::TestWithParam<std::string (*)()> {};

TEST_P(LowMemoryWithProfile, LosesTheConversionOrThePage) {
  const ScratchFolder folder;
  const ReferenceJob job = with_arguments(job_of({small_page(1), small_page(2)}),
                                          {"--icc-profile", folder.write("profile", GetParam()())});
  EXPECT_THAT(Shortages(job).visible_failures(),
              UnorderedElementsAre(kSourcePlanes, kResizedPlanes, kConversionBuffers, kCanvasPlanes,
                                   kScaledPlanes, kNoMemoryToSkipAPage));
}

INSTANTIATE_TEST_SUITE_P(Faults, LowMemoryWithProfile,
                         ::testing::Values([] { return wide_rgb_profile(); }, cmyk_table_profile,
                                           gray_profile));

// A job of two sheets.
void expect_complete_sheets_without_memory(const ReferenceJob& job) {
  const ReferenceResult undisturbed = reference_run(job);
  const std::size_t sheet = undisturbed.output.size() / 2;
  for (long n = 1;; ++n) {
    SCOPED_TRACE("from allocation " + std::to_string(n));
    Faults faults;
    faults.failing_allocation = n;
    faults.later_ones_too = true;
    const FaultRun run = run_job(job, faults);
    ASSERT_TRUE(run.ended_normally);
    ASSERT_EQ(run.status, 0);
    expect_nothing_leaked(run);
    ASSERT_FALSE(run.log.empty());
    EXPECT_EQ(run.log.back(), "=== rastertok905 end ===");
    ASSERT_EQ(run.output.size() % sheet, 0U);
    ASSERT_TRUE(undisturbed.output.compare(0, run.output.size(), run.output) == 0);
    if (run.counts.allocations < n) {
      EXPECT_EQ(run.output.size(), 2 * sheet);
      break;
    }
  }
}

TEST(LowMemory, FromAnyAllocationOnPrintsThePrecedingSheets) {
  expect_complete_sheets_without_memory(job_of({small_page(1), small_page(2)}));
  expect_complete_sheets_without_memory(with_arguments(job_of({small_page(1)}), {"--copies", "2"}));
}

// ---- writes ----

TEST(IrregularWrites, InSmallPiecesChangeNothing) {
  const ReferenceJob job = job_of({small_page(1)});
  const ReferenceResult undisturbed = reference_run(job);
  for (const std::size_t most : {1000U, 4097U, 65536U}) {
    Faults faults;
    faults.max_written = most;
    faults.interrupt_writes = most == 4097;
    const FaultRun run = run_job(job, faults);
    expect_same(run, reference_for(run, undisturbed));
    EXPECT_GT(run.counts.writes, 90);
  }
}

TEST(IrregularWrites, ToTheLogChangeNothing) {
  const ReferenceJob job = job_of({small_page(1)});
  Faults faults;
  faults.max_logged = 7;
  const FaultRun run = run_job(job, faults);
  expect_same(run, reference_for(run, reference_run(job)));
}

class EveryWrite : public ::testing::TestWithParam<long> {};

void expect_result_of_faulty_write(long number, long result, int error, bool and_later) {
  ReferenceJob job = job_of({small_page(1), small_page(2)});
  job.arguments.push_back("StpLaminate=Matte");
  Faults faults;
  faults.faulty_write = number;
  faults.write_result = result;
  faults.write_errno = error;
  faults.later_writes_too = and_later;
  const FaultRun run = run_job(job, faults);
  const FaultyWrite fault{
      .number = number, .result = result, .error = error, .and_later = and_later};
  const ReferenceResult wanted = with_faulty_write(reference_run(job), fault);
  expect_same(run, reference_for(run, wanted));
  expect_nothing_leaked(run);
}

TEST_P(EveryWrite, CanFailOnce) { expect_result_of_faulty_write(GetParam(), -1, EIO, false); }

TEST_P(EveryWrite, CanFailPermanently) {
  expect_result_of_faulty_write(GetParam(), -1, EPIPE, true);
}

TEST_P(EveryWrite, CanWriteZeroBytes) { expect_result_of_faulty_write(GetParam(), 0, 0, false); }

// A matte sheet is twelve writes; of the second sheet only the first write is tried.
INSTANTIATE_TEST_SUITE_P(Faults, EveryWrite, ::testing::Range(1L, 14L));

// ---- reads ----

TEST(IrregularReads, SmallInterruptedAndEmptyReadsChangeNothing) {
  ReferenceJob job = job_of({small_page(1), small_page(2)});
  for (const bool compressed : {false, true}) {
    if (compressed) {
      job.input = raster_stream({small_page(1), small_page(2)}, RasterKind::kCompressed);
    }
    Faults faults;
    faults.max_read = 3;
    faults.interrupt_reads = true;
    faults.delay_reads = true;
    const FaultRun run = run_job(job, faults);
    expect_same(run, reference_for(run, reference_run(job)));
    EXPECT_GT(run.counts.reads, 1000);
  }
}

// A job in which the read with this number, of 100 bytes each, fails: this is the end of the input.
// The messages differ depending on whether the stream was already opened.
void expect_end_at_read(const ReferenceJob& job, long number) {
  SCOPED_TRACE("read " + std::to_string(number));
  Faults faults;
  faults.max_read = 100;
  faults.failing_read = number;
  FaultRun run = run_job(job, faults);
  ReferenceJob cut = job;
  cut.input.resize(static_cast<std::size_t>(100 * (number - 1)));
  const std::string word = "K905-1: read error: Input/output error";
  EXPECT_EQ(std::count(run.log.begin(), run.log.end(), word), number > 1 ? 1 : 0);
  run.log.erase(std::remove(run.log.begin(), run.log.end(), word), run.log.end());
  expect_same(run, reference_for(run, reference_run(cut)));
  expect_nothing_leaked(run);
}

TEST(IrregularReads, ErrorIsTheEndOfTheInput) {
  const ReferenceJob job = job_of({small_page(1), small_page(2)});
  for (const long number : {1L, 2L, 5L, 20L, 40L, 55L, 60L, 90L}) {
    expect_end_at_read(job, number);
  }
}

TEST(IrregularReads, DataAfterAnErrorIsNotReadAsAPage) {
  // The page ends at a failed read; the following reads would return a complete page.
  ReferenceJob job = job_of({small_page(1), small_page(2)});
  constexpr std::size_t kHeader = 4 + sizeof(cups_page_header2_t);
  constexpr std::size_t kPage = kHeader - 4 + std::size_t{40} * 3 * 30;
  job.input = job.input.substr(0, kHeader + 1000) + job.input.substr(4 + kPage);
  static_assert((kHeader + 1000) % 100 == 0);
  expect_end_at_read(job, (kHeader + 1000) / 100 + 1);
}

// ---- canceled jobs ----

// Cancels a job at each line of its log in turn. A sheet that was announced is finished; no other
// sheet is started, and a page that waits for the second page of its sheet is dropped.
void expect_canceled_anywhere(const ReferenceJob& job, Faults faults) {
  const FaultRun undisturbed = run_job(job, faults);
  ASSERT_TRUE(undisturbed.ended_normally);
  const std::vector<std::string>& whole = undisturbed.log;
  const std::size_t start_up =
      whole.size() - static_cast<std::size_t>(undisturbed.counts.log_writes);
  const auto sheet_begins = [&whole](std::size_t line) {
    return whole[line].find("PRINT CALL") != std::string::npos;
  };
  bool in_page = false;
  for (std::size_t line = start_up, begun = 0; line < whole.size(); ++line) {
    in_page |= whole[line].find("Processing page 1") != std::string::npos;
    begun += sheet_begins(line) ? 1 : 0;
    // The many lines that list a header or the settings need not be tested one by one.
    if (whole[line].rfind("K905-", 0) != 0) {
      continue;
    }
    SCOPED_TRACE("canceled with \"" + whole[line] + "\"");
    faults.canceling_log_write = static_cast<long>(line - start_up + 1);
    const FaultRun run = run_job(job, faults);
    EXPECT_TRUE(run.ended_normally);
    EXPECT_EQ(run.status, 0);
    expect_nothing_leaked(run);
    ASSERT_GT(run.log.size(), line);
    EXPECT_EQ(run.log.back(), "=== rastertok905 end ===");
    EXPECT_TRUE(std::equal(whole.begin() + 2, whole.begin() + static_cast<long>(line) + 1,
                           run.log.begin() + 2));
    EXPECT_THAT(std::vector(run.log.begin() + static_cast<long>(line) + 1, run.log.end()),
                Not(Contains(HasSubstr(in_page ? "Processing page" : "=== Processing page"))));
    const bool announced = whole[line].rfind("K905-1: Direct print mode", 0) == 0;
    const std::size_t sheets = begun + (announced ? 1 : 0);
    EXPECT_TRUE(run.output == first_sheets(undisturbed.output, sheets))
        << run.output.size() << " bytes, not " << sheets << " sheets";
    if (::testing::Test::HasFailure()) {
      return;
    }
  }
}

TEST(Canceled, AtAnyLineEndsTheJobWithCompleteSheets) {
  expect_canceled_anywhere(job_of({small_page(1), small_page(2)}), {});
}

TEST(Canceled, BetweenCopiesStartsNoFurtherCopy) {
  expect_canceled_anywhere(with_arguments(job_of({small_page(1)}), {"--copies", "2"}), {});
}

TEST(Canceled, DuringAMergeGivesNoSheet) { expect_canceled_anywhere(paired_pages(2), {}); }

TEST(Canceled, BetweenTheSheetsOfAFailedMergeSkipsTheSecond) {
  const ReferenceJob job = paired_pages(2);
  Faults faults;
  FaultRun run;
  do {
    ++faults.failing_allocation;
    run = run_job(job, faults);
    ASSERT_LE(faults.failing_allocation, run.counts.allocations)
        << "no failing allocation makes the merge fail";
  } while (std::find(run.log.begin(), run.log.end(), kMerge) == run.log.end());
  expect_canceled_anywhere(job, faults);
}

}  // namespace
