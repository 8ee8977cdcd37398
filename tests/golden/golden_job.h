// A golden job: the recipe in its folder, the accepted dump, and for a few jobs the accepted log.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/support/ppd_builder.h"

// A line of the recipe is a keyword and its value; "#" begins a comment.
//   raster ...       arguments of k905-raster; without this line standard input is empty
//   ppd KEY=VALUE    default choices of the queue's PPD, any number on a line, in their order
//   options ...      the job's option string
//   arguments ...    further arguments of the filter, after the option string
//   ribbon 6x8       the loaded ribbon
//   status 1         the filter's exit status, 0 without this line
struct GoldenJob {
  std::string name;  // of the folder
  std::vector<std::string> raster;
  PpdDescription ppd;
  std::vector<std::string> filter_arguments;  // argv, [0] included
  std::string ribbon;
  int status = 0;
};

// The names of all jobs, in order.
[[nodiscard]] std::vector<std::string> golden_job_names();

// Reads the recipe of a job; null with `error` set if a line is not valid.
[[nodiscard]] std::optional<GoldenJob> read_golden_job(const std::string& name, std::string& error);

// The accepted file "dump" or "log" of a job; "" when there is none yet.
[[nodiscard]] std::string accepted_text(const std::string& job, const std::string& file);
[[nodiscard]] bool has_accepted_log(const std::string& job);
void accept_text(const std::string& job, const std::string& file, const std::string& text);

// The log without the parts that differ between two equal runs.
[[nodiscard]] std::string redacted(const std::string& log, int process_id);
