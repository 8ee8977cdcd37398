// A second implementation of the filter for tests: slow and simple, with complete planes for every
// stage.
//
// It shares no code and no table with the program. From the input of a run (arguments, environment,
// PPD, standard input) it computes the output of the run: the bytes for the printer, every line of
// the log, and, for a run by hand, every image. Raster jobs only; without cancellation.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/ppd_builder.h"

// A simulated shortage of memory, at the place where the filter could log `line` for the `visit`-th
// time. The line is without its number, if it has one: "malloc() failed ...".
struct ReferenceShortage {
  std::string line;
  int visit = 1;
};
// There is such a place once a page: where the rest of a page is skipped.
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

// Replaces date and time in the image names of a log, so that two runs can be compared.
[[nodiscard]] std::vector<std::string> redacted_log(const std::string& log);
