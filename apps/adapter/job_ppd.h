// A job's own choices, put where the filter looks for them.
//
// The filter reads the default choices of the queue's PPD file and, of the job's options, only the
// color profile. So the job gets a PPD file of its own: the queue's, with the job's choices as the
// defaults.
#pragma once

#include <cups/ppd.h>

#include <map>
#include <string>
#include <string_view>

#include "paper/paper_table.h"

struct JobPpd {
  // Descriptor of the private copy, at its beginning, open over an exec; -1 when there is none. The
  // file has no name in any folder and is gone with its last descriptor.
  int descriptor = -1;
  // "6x4" or "6x8"; empty when neither queue nor job says.
  std::string ribbon;
  // The job's paper; null when the file is not one of ours.
  const PaperConfig* paper = nullptr;
  // What is marked for the job, by keyword; PageSize is the paper's.
  std::map<std::string, std::string> choices;
  // "print-scaling" of the job, or empty.
  std::string scaling;
  // Why the job must not be printed, for the user; empty when it may. There is no copy then.
  std::string refusal;
  // Why there is no copy, for the log; text from outside may be in it.
  std::string failure;
};

// Marks the defaults of the PPD file at `path`, then the options in `job_options` as CUPS hands
// them to a filter (null for none), and makes the copy. The caller closes the descriptor.
[[nodiscard]] JobPpd make_job_ppd(const char* path, const char* job_options);

// `text`, a PPD file, with every "*Default" line of an option naming the option's marked choice in
// `ppd`, which was read from the same file; those of the page size name `page_size`, or the marked
// one when it is empty. Every other line stays as it is.
[[nodiscard]] std::string with_marked_defaults(std::string_view text, ppd_file_t* ppd,
                                               const std::string& page_size = "");
