// The whole filter a second time, for the tests: slow, staged over whole planes, written to be
// obviously right.
//
// It shares no code and no table with the program. Given what a run would see (arguments,
// environment, PPD, standard input) it says what the run must write: the bytes for the printer,
// every line of the log, and, for a run by hand, every image. Raster jobs only; memory is never
// short and nobody cancels.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/ppd_builder.h"

// One moment at which memory is short: the one at which the filter could have said `line` for the
// `visit`-th time. The line is without the number that some have in it: "malloc() failed ...".
struct ReferenceShortage {
  std::string line;
  int visit = 1;
};
// One such moment comes once a page: what is left of it is to be read.
inline constexpr char kNoMemoryToSkipAPage[] =
    "K905-1: malloc skip buffer failed, the rest of the job is not printed";

struct ReferenceJob {
  std::vector<std::string> arguments;      // argv, [0] included
  std::optional<std::string> ppd_path;     // the variable PPD; none is a run by hand
  std::optional<PpdDescription> ppd_file;  // its content; none is a file that cannot be opened
  std::string ribbon;                      // the variable K905_RIBBON, "" when not set
  int max_message = 0;                     // the variable CUPS_MAX_MESSAGE, 0 when not set
  std::string working_folder = ".";        // where "./" is
  int process_id = 0;
  std::string input;  // standard input
  std::optional<ReferenceShortage> shortage;
};

struct ReferenceResult {
  int status = 0;
  std::string output;
  std::vector<std::string> log;  // without line ends; times of images as redacted_log has them
  std::map<std::string, std::string> images;  // the last one of each tag, as PPM
};

[[nodiscard]] ReferenceResult reference_run(const ReferenceJob& job);

// The lines of a log with the date and time in image names replaced, so that two runs compare.
[[nodiscard]] std::vector<std::string> redacted_log(const std::string& log);
