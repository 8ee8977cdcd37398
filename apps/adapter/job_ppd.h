// Applies the options of a job to the PPD file that the filter reads.
//
// The filter reads the default choices of the queue's PPD file and, from the job's options, only
// the color profile. So the job gets a private copy of the PPD file, with the job's choices as the
// defaults.
#pragma once

#include <cups/ppd.h>

#include <map>
#include <string>
#include <string_view>

#include "paper/paper_table.h"

struct JobPpd {
  // Descriptor of the private copy, positioned at its beginning and kept open by exec; -1 if there
  // is none. The copy is an anonymous file: it is freed when its last descriptor is closed.
  int descriptor = -1;
  // "6x4" or "6x8"; empty if neither queue nor job sets it.
  std::string ribbon;
  // The job's paper; null if the file is not a PPD file for this printer.
  const PaperConfig* paper = nullptr;
  // The choices that are marked for the job, by keyword; PageSize is the name of the paper.
  std::map<std::string, std::string> choices;
  // The option "print-scaling" of the job, or empty.
  std::string scaling;
  // Why the job is refused, for the user; empty if it is not. A refused job has no copy.
  std::string refusal;
  // Why there is no copy, for the log; may contain text from outside.
  std::string failure;
};

// Marks the defaults of the PPD file at `path`, then the options in `job_options` as CUPS passes
// them to a filter (null for none), and makes the copy. The caller closes the descriptor.
[[nodiscard]] JobPpd make_job_ppd(const char* path, const char* job_options);

// Returns `text`, a PPD file, with every "*Default" line of an option changed to the option's
// marked choice in `ppd`, which was read from the same file. The default page size becomes
// `page_size`, or the marked one if that is empty. Every other line stays unchanged.
[[nodiscard]] std::string with_marked_defaults(std::string_view text, ppd_file_t* ppd,
                                               const std::string& page_size = "");
