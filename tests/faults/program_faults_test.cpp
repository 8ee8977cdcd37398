// Runs the built program with each of its calls failing in turn: every sheet is complete or absent,
// has the settings that the log shows, losses are logged, and the program ends.
//
// By default a few calls of each kind are tried; with K905_EVERY_CALL set, all of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <random>

#include "tests/faults/faulted_program.h"
#include "tests/faults/faulty_write.h"
#include "tests/support/captured_log.h"
#include "tests/support/profile_builder.h"
#include "tests/support/raster_builder.h"
#include "tests/support/reference.h"
#include "tests/support/simulated_printer.h"

namespace {

using ::testing::AnyOf;
using ::testing::Contains;

constexpr char kEnd[] = "=== rastertok905 end ===";
constexpr char kNoStream[] = "K905-1: cupsRasterOpen failed (no raster data from upstream).";

#ifdef K905_SANITIZED
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

std::string two_pages() {
  std::mt19937 random(5);
  std::vector<RasterPage> pages;
  for (int i = 0; i < 2; ++i) {
    pages.push_back(blank_page(smallest_page_header(40, 30)));
    fill_with_gradient(pages.back(), random);
  }
  return raster_stream(pages);
}

bool has(const std::vector<std::string>& log, const std::string& line) {
  return std::find(log.begin(), log.end(), line) != log.end();
}

bool has_beginning(const std::vector<std::string>& log, const std::string& beginning) {
  return std::any_of(log.begin(), log.end(), [&beginning](const std::string& line) {
    return line.rfind(beginning, 0) == 0;
  });
}

// ---- the jobs ----

using Choices = std::vector<std::string>;

// One way to start the filter, and the valid variants of the sheets.
class FilterStart {
 public:
  FilterStart() = default;
  virtual ~FilterStart() = default;
  FilterStart(const FilterStart&) = delete;
  FilterStart& operator=(const FilterStart&) = delete;

  [[nodiscard]] virtual ChildSetup setup() const {
    ChildSetup child;
    child.program = filter_program();
    child.arguments = job_.arguments;
    child.input = job_.input;
    child.time_limit = std::chrono::seconds(30);
    return child;
  }

  [[nodiscard]] virtual std::string log_of(const ChildResult& result) const { return result.log; }

  // The valid variants of each sheet, given this log.
  [[nodiscard]] virtual std::vector<Choices> sheets_for(
      const std::vector<std::string>& log) const = 0;

  // The result of an undisturbed run with this process id.
  [[nodiscard]] ReferenceResult undisturbed(int process_id) const {
    ReferenceResult result = undisturbed_;
    result.log.at(1) = "K905-1: Process ID: " + std::to_string(process_id);
    return result;
  }

 protected:
  // After job_ has been filled in.
  void run_undisturbed() { undisturbed_ = reference_run(job_); }

  ReferenceJob job_;

 private:
  ReferenceResult undisturbed_;
};

std::vector<Choices> one_choice_each(const std::vector<std::string>& sheets) {
  std::vector<Choices> choices;
  for (const std::string& sheet : sheets) {
    choices.push_back({sheet});
  }
  return choices;
}

// As CUPS starts it. Two options of the queue's PPD file change the sheet; their effect is expected
// if the log shows that they were read.
class UnderPrintSystem : public FilterStart {
 public:
  UnderPrintSystem() {
    job_.arguments = {"K905", "1", "me", "t", "1", ""};
    job_.input = two_pages();
    job_.ppd_file = PpdDescription{};
    job_.ppd_file->groups = {{"K905", {{"StpLaminate", "Matte"}, {"StpBrightness", "200"}}}};
    job_.ppd_path = folder_.write("queue.ppd", ppd_text(*job_.ppd_file));
    run_undisturbed();
  }

  [[nodiscard]] ChildSetup setup() const override {
    ChildSetup child = FilterStart::setup();
    child.environment["PPD"] = *job_.ppd_path;
    return child;
  }

  [[nodiscard]] std::vector<Choices> sheets_for(
      const std::vector<std::string>& log) const override {
    // The summary shows the settings that the sheets are printed with.
    const bool matte = has(log, "  Overcoat: Matte");
    const bool bright = has(log, "  Brightness: 200 (0.20)");
    if (matte && bright) {
      return one_choice_each(complete_sheets(undisturbed(0).output));
    }
    ReferenceJob job = job_;
    job.ppd_file->groups[0].options = {{"StpLaminate", matte ? "Matte" : "Glossy"},
                                       {"StpBrightness", bright ? "200" : "0"}};
    return one_choice_each(complete_sheets(reference_run(job).output));
  }

 private:
  ScratchFolder folder_;
};

// The same with a profile. A page whose conversion failed is printed unconverted, or through sRGB,
// and the log has a warning.
class WithProfile : public FilterStart {
 public:
  WithProfile() {
    job_.arguments = {"K905",
                      "1",
                      "me",
                      "t",
                      "1",
                      "",
                      "--icc-profile",
                      folder_.write("mine.icc", wide_rgb_profile())};
    job_.input = two_pages();
    job_.ppd_path = "/nonexistent/queue.ppd";
    run_undisturbed();
    converted_ = complete_sheets(undisturbed(0).output);
    ReferenceJob plain = job_;
    plain.arguments.resize(6);
    plain_ = complete_sheets(reference_run(plain).output);
    plain.ppd_file = PpdDescription{};
    plain.ppd_file->groups = {{"K905", {{"ICCProfile", "/nonexistent/profile"}}}};
    through_srgb_ = complete_sheets(reference_run(plain).output);
  }

  [[nodiscard]] ChildSetup setup() const override {
    ChildSetup child = FilterStart::setup();
    child.environment["PPD"] = *job_.ppd_path;
    return child;
  }

  // A warning before the first page applies to both pages.
  [[nodiscard]] std::vector<Choices> sheets_for(
      const std::vector<std::string>& log) const override {
    const auto first = std::find(log.begin(), log.end(), "K905-1: Processing page 1 (ODD)");
    const auto second = std::find(first, log.end(), "K905-1: Processing page 2 (EVEN)");
    const bool early = warned({log.begin(), first});
    const bool late[] = {warned({first, second}), warned({second, log.end()})};
    std::vector<Choices> sheets;
    for (std::size_t i = 0; i < 2; ++i) {
      sheets.push_back(early || late[i] ? Choices{plain_[i], through_srgb_[i]}
                                        : Choices{converted_[i]});
    }
    return sheets;
  }

 private:
  // Whether the log has a warning that an undisturbed run does not have. Little CMS can create an
  // identity transform without reporting an error; the logged test colors show it.
  [[nodiscard]] bool warned(const std::vector<std::string>& log) const {
    return std::any_of(log.begin(), log.end(), [this](const std::string& line) {
      for (const char* beginning :
           {"K905-1: ERROR: ", "K905-1: WARNING: ", "K905-1: ICC profile not found",
            "K905-1: Failed to allocate memory for ICC profile name",
            "  Red: [255,  0,  0] -> [255,  0,  0]"}) {
        if (line.rfind(beginning, 0) == 0 && !has(undisturbed(0).log, line)) {
          return true;
        }
      }
      return false;
    });
  }

  ScratchFolder folder_;
  std::vector<std::string> converted_;
  std::vector<std::string> plain_;
  std::vector<std::string> through_srgb_;
};

// Started by hand, with its log and its images in /tmp.
class ByHand : public FilterStart {
 public:
  ByHand() {
    job_.arguments = {"rastertok905", "1", "me", "t", "1", ""};
    job_.input = two_pages();
    run_undisturbed();
    sheets_ = complete_sheets(undisturbed(0).output);
  }

  [[nodiscard]] ChildSetup setup() const override {
    ChildSetup child = FilterStart::setup();
    child.private_tmp = tmp_.path();
    return child;
  }

  // If the log file cannot be opened, the log stays on standard error.
  [[nodiscard]] std::string log_of(const ChildResult& result) const override {
    return result.log.empty() ? tmp_.read("rastertok905_debug.log").value_or("") : result.log;
  }

  [[nodiscard]] std::vector<Choices> sheets_for(
      const std::vector<std::string>& /*log*/) const override {
    return one_choice_each(sheets_);
  }

 private:
  ScratchFolder tmp_;
  std::vector<std::string> sheets_;
};

std::unique_ptr<FilterStart> make_start(const std::string& name) {
  if (name == "ByHand") {
    return std::make_unique<ByHand>();
  }
  if (name == "WithProfile") {
    return std::make_unique<WithProfile>();
  }
  return std::make_unique<UnderPrintSystem>();
}

// ---- checks ----

// Whether the log reports that the page is not printed.
bool logs_loss(const std::vector<std::string>& log, int page) {
  return has(log, kNoStream) ||
         has(log, "K905-1: build_planes_resampled failed, abort page " + std::to_string(page)) ||
         has(log, "K905-1: malloc skip buffer failed, the rest of the job is not printed") ||
         has(log, "K905-1: Raster page header refused, the rest of the job is not printed") ||
         has_beginning(log, "K905-1: read error: ");
}

// When memory is short, Little CMS uses a slower method, which may round a byte differently.
bool differs_by_rounding(const std::string& sheet, const std::string& wanted) {
  return sheet.size() == wanted.size() &&
         std::equal(sheet.begin(), sheet.end(), wanted.begin(), [](char a, char b) {
           return std::abs(static_cast<unsigned char>(a) - static_cast<unsigned char>(b)) <= 1;
         });
}

bool is_in_library(const FaultedProgram& run) {
  return run.caller.find("liblcms2") != std::string::npos ||
         run.caller.find("libcups") != std::string::npos ||
         run.caller.find("libc.so") != std::string::npos;
}

// When memory is short, Little CMS may also omit a step of the conversion without an error. Only
// the logged test colors show it.
bool omitted_a_step(const FaultedProgram& run, const std::vector<std::string>& log) {
  return run.caller.find("liblcms2") != std::string::npos &&
         has_beginning(log, "  Red: [255,  0,  0] -> [255,  0,  0]");
}

bool is_one_of(const Choices& choices, const std::string& sheet, const FaultedProgram& run,
               const std::vector<std::string>& log) {
  return std::any_of(choices.begin(), choices.end(), [&](const std::string& choice) {
    return sheet == choice || (is_in_library(run) && differs_by_rounding(sheet, choice)) ||
           (omitted_a_step(run, log) && sheet.size() == choice.size());
  });
}

void expect_complete_or_absent(const FilterStart& start, const FaultedProgram& run,
                               const std::vector<std::string>& log) {
  const std::vector<Choices> wanted = start.sheets_for(log);
  const std::vector<std::string> got = complete_sheets(run.result.output);
  std::size_t next = 0;
  for (std::size_t page = 0; page < wanted.size(); ++page) {
    if (next < got.size() && is_one_of(wanted[page], got[next], run, log)) {
      ++next;
    } else {
      EXPECT_TRUE(run.result.signal != 0 || logs_loss(log, static_cast<int>(page) + 1))
          << "page " << page + 1 << " was lost and not logged";
    }
  }
  EXPECT_EQ(next, got.size()) << "a sheet that does not belong to this job";
}

void expect_logged_end(const FaultedProgram& run, const std::vector<std::string>& log) {
  ASSERT_FALSE(log.empty());
  if (run.result.status == 1) {
    EXPECT_THAT(log, Contains(kNoStream));
    EXPECT_EQ(run.result.output, "");
  } else {
    EXPECT_EQ(run.result.status, 0);
    EXPECT_EQ(log.back(), kEnd);
  }
}

void expect_undisturbed(const FilterStart& start, const FaultedProgram& run) {
  const ReferenceResult undisturbed = start.undisturbed(run.result.process_id);
  EXPECT_EQ(run.result.status, 0);
  EXPECT_EQ(redacted_log(start.log_of(run.result)), undisturbed.log);
  EXPECT_TRUE(run.result.output == undisturbed.output);
}

// The line that could not be written is missing; all other lines are unchanged.
void expect_one_line_missing(const FilterStart& start, const FaultedProgram& run) {
  std::vector<std::string> undisturbed = start.undisturbed(run.result.process_id).log;
  const std::vector<std::string> log = redacted_log(start.log_of(run.result));
  const auto missing =
      std::mismatch(log.begin(), log.end(), undisturbed.begin(), undisturbed.end()).second;
  ASSERT_NE(missing, undisturbed.end());
  undisturbed.erase(missing);
  EXPECT_EQ(log, undisturbed);
  EXPECT_TRUE(run.result.output == start.undisturbed(0).output);
}

struct Attempt {
  const char* start;
  const char* function;
  int error;
  bool and_later = false;
};

std::ostream& operator<<(std::ostream& stream, const Attempt& attempt) {
  return stream << attempt.function << " failing in " << attempt.start;
}

class EveryCall : public ::testing::TestWithParam<Attempt> {
 protected:
  // The number of calls of one kind that are tried by default.
  static constexpr long kUsualCalls = 24;
  static constexpr long kUsualCallsWithImages = 5;
};

// The filter repeats these calls after EINTR, without effect on the job.
bool is_repeated(const Attempt& attempt) {
  const std::string function = attempt.function;
  return attempt.error == EINTR && function != "open" && function != "fsync";
}

// All other bytes reach the printer, the start command last.
void expect_logged_write_error(const FilterStart& start, const Attempt& attempt, long number,
                               const FaultedProgram& run) {
  const ReferenceResult wanted = with_faulty_write(
      start.undisturbed(run.result.process_id),
      {.number = number, .result = -1, .error = attempt.error, .and_later = attempt.and_later});
  EXPECT_EQ(run.result.status, 0);
  EXPECT_EQ(redacted_log(start.log_of(run.result)), wanted.log);
  EXPECT_TRUE(run.result.output == wanted.output);
}

void expect_handled(const FilterStart& start, const Attempt& attempt, long number,
                    const FaultedProgram& run) {
  const std::string function = attempt.function;
  if (is_repeated(attempt) || function == "write") {
    expect_undisturbed(start, run);  // other files are debug images
  } else if (function == "log") {
    expect_one_line_missing(start, run);
  } else if (function == "print") {
    expect_logged_write_error(start, attempt, number, run);
  } else {
    const std::vector<std::string> log = lines_of(start.log_of(run.result));
    expect_complete_or_absent(start, run, log);
    // The libraries end the program after some of their own allocation failures.
    if (run.result.signal == 0 || function != "memory" || !is_in_library(run)) {
      EXPECT_EQ(run.result.signal, 0) << "in " << run.caller;
      expect_logged_end(run, log);
    }
  }
}

TEST_P(EveryCall, MayFailAndEverySheetIsCompleteOrAbsent) {
  const Attempt& attempt = GetParam();
  const bool images = std::string(attempt.start) == "ByHand";
  if (kSanitized && std::string(attempt.function) == "memory") {
    GTEST_SKIP() << "the sanitizer replaces the allocation functions";
  }
  if (images && !private_tmp_possible()) {
    GTEST_SKIP() << "needs the right to make a mount namespace";
  }
  const std::unique_ptr<FilterStart> start = make_start(attempt.start);
  const FaultedProgram undisturbed = run_with_fault(start->setup(), {});
  expect_undisturbed(*start, undisturbed);
  const long calls = undisturbed.calls.at(attempt.function);
  ASSERT_GT(calls, 0) << "nothing to fail";
  long tried = 0;
  long ended = 0;
  for (const long number : calls_to_fail(calls, images ? kUsualCallsWithImages : kUsualCalls)) {
    SCOPED_TRACE(std::string(attempt.function) + " " + std::to_string(number));
    const FaultedProgram run = run_with_fault(
        start->setup(), {attempt.function, number, attempt.error, attempt.and_later});
    EXPECT_TRUE(run.failed);
    ++tried;
    ended += run.result.signal != 0 ? 1 : 0;
    expect_handled(*start, attempt, number, run);
    if (HasFailure()) {
      return;
    }
  }
  std::cout << tried << " calls failed, of " << calls << "; a library ended the program " << ended
            << " times\n";
  // Files left over from the failures do not affect a later job.
  expect_undisturbed(*start, run_with_fault(start->setup(), {}));
}

std::string name_of(const ::testing::TestParamInfo<Attempt>& instance) {
  const Attempt& attempt = instance.param;
  return std::string(attempt.start) + "_" + attempt.function + "_" +
         strerrorname_np(attempt.error) + (attempt.and_later ? "_on" : "");
}

INSTANTIATE_TEST_SUITE_P(
    Faults, EveryCall,
    ::testing::Values(
        Attempt{"UnderPrintSystem", "memory", ENOMEM},
        Attempt{"UnderPrintSystem", "memory", ENOMEM, true},
        Attempt{"UnderPrintSystem", "open", EMFILE}, Attempt{"UnderPrintSystem", "read", EIO},
        Attempt{"UnderPrintSystem", "read", EINTR}, Attempt{"UnderPrintSystem", "poll", ENOMEM},
        Attempt{"UnderPrintSystem", "poll", EINTR}, Attempt{"UnderPrintSystem", "print", EINTR},
        Attempt{"UnderPrintSystem", "print", EIO},
        Attempt{"UnderPrintSystem", "print", EPIPE, true},
        Attempt{"UnderPrintSystem", "log", EINTR}, Attempt{"UnderPrintSystem", "log", EIO},
        Attempt{"UnderPrintSystem", "fsync", EIO}, Attempt{"UnderPrintSystem", "fsync", EINTR},
        Attempt{"UnderPrintSystem", "stat", EACCES}, Attempt{"UnderPrintSystem", "fcntl", EINVAL},
        Attempt{"UnderPrintSystem", "close", EIO}, Attempt{"WithProfile", "memory", ENOMEM},
        Attempt{"WithProfile", "stat", EACCES}, Attempt{"WithProfile", "fopen", EMFILE},
        Attempt{"WithProfile", "fread", EIO}, Attempt{"ByHand", "memory", ENOMEM},
        Attempt{"ByHand", "open", EACCES}, Attempt{"ByHand", "open", EINTR},
        Attempt{"ByHand", "open", EMFILE, true}, Attempt{"ByHand", "stat", EIO},
        Attempt{"ByHand", "ftruncate", EIO}, Attempt{"ByHand", "dup2", EBUSY},
        Attempt{"ByHand", "mkdir", EACCES, true}, Attempt{"ByHand", "write", ENOSPC},
        Attempt{"ByHand", "write", EINTR}, Attempt{"ByHand", "log", ENOSPC},
        Attempt{"ByHand", "read", EIO}, Attempt{"ByHand", "close", EIO}),
    name_of);

// ---- the status query ----

ChildSetup query_of(const std::string& device) {
  ChildSetup child;
  child.program = filter_program();
  child.arguments = {"rastertok905", "--info", device};
  child.environment["PPD"] = "/nonexistent/queue.ppd";
  child.time_limit = std::chrono::seconds(60);
  return child;
}

class EveryCallOfAQuery : public ::testing::TestWithParam<Attempt> {};

TEST_P(EveryCallOfAQuery, MayFailAndTheNextQueryIsCorrect) {
  const Attempt& attempt = GetParam();
  const SimulatedPrinter printer;
  const ChildSetup query = query_of(printer.path());
  const FaultedProgram undisturbed = run_with_fault(query, {});
  ASSERT_EQ(undisturbed.result.status, 0);
  const std::vector<std::string> report = lines_of(undisturbed.result.output);
  ASSERT_EQ(report.at(1), "PrintStatus = Idling (0)\r");
  for (const long number : calls_to_fail(undisturbed.calls.at(attempt.function), 40)) {
    SCOPED_TRACE(std::string(attempt.function) + " " + std::to_string(number));
    const FaultedProgram run = run_with_fault(query, {attempt.function, number, attempt.error});
    EXPECT_TRUE(run.failed);
    EXPECT_EQ(run.result.signal, 0);
    if (std::string(attempt.function) == "open") {
      EXPECT_THAT(run.result.status, AnyOf(0, 1));  // the PPD file, or the device
    } else {
      EXPECT_EQ(run.result.status, 0);
      EXPECT_EQ(lines_of(run.result.output).front(), report.front());
    }
    if (attempt.error == EINTR && std::string(attempt.function) != "open") {
      EXPECT_EQ(run.result.output, undisturbed.result.output);
    }
    EXPECT_EQ(run_with_fault(query, {}).result.output, undisturbed.result.output);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Faults, EveryCallOfAQuery,
    ::testing::Values(Attempt{"Query", "open", EBUSY}, Attempt{"Query", "open", EINTR},
                      Attempt{"Query", "read", EIO}, Attempt{"Query", "read", EINTR},
                      Attempt{"Query", "poll", ENOMEM}, Attempt{"Query", "poll", EINTR},
                      Attempt{"Query", "write", EIO}, Attempt{"Query", "write", EINTR},
                      Attempt{"Query", "log", EIO}, Attempt{"Query", "fcntl", EINVAL},
                      Attempt{"Query", "close", EIO}),
    name_of);

TEST(QueryFaults, QuestionThatCannotBeWrittenHasNoAnswer) {
  const SimulatedPrinter printer;
  const ChildSetup query = query_of(printer.path());
  const std::vector<std::string> undisturbed = lines_of(run_with_fault(query, {}).result.output);
  // The ninth question is the one for the serial number.
  const FaultedProgram run = run_with_fault(query, {"write", 9, EIO});
  std::vector<std::string> wanted = undisturbed;
  std::replace(wanted.begin(), wanted.end(), std::string("PrintSerialNO = SIM00000001\r"),
               std::string("PrintSerialNO = \r"));
  EXPECT_NE(wanted, undisturbed);
  EXPECT_EQ(lines_of(run.result.output), wanted);
  EXPECT_THAT(lines_of(run.result.log), Contains("K905-1: write error: Input/output error"));
}

TEST(QueryFaults, DeviceThatCannotBeOpenedIsLogged) {
  const SimulatedPrinter printer;
  // The first file that is opened is the queue's PPD file.
  const FaultedProgram run = run_with_fault(query_of(printer.path()), {"open", 2, EBUSY});
  EXPECT_EQ(run.result.status, 1);
  EXPECT_EQ(run.result.output, "");
  EXPECT_EQ(lines_of(run.result.log).back(),
            "K905-1: open('" + printer.path() + "') failed: Device or resource busy");
}

}  // namespace
