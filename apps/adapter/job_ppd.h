// A job's own choices, put where the filter looks for them.
//
// The filter reads the default choices of the queue's PPD file and, of the job's options, only the
// colour profile. So the job gets a PPD file of its own: the queue's, with the job's choices as the
// defaults.
#pragma once

#include <cups/ppd.h>

#include <string>
#include <string_view>

struct JobPpd {
  // Descriptor of the private copy, at its beginning, open over an exec; -1 when there is none. The
  // file has no name in any folder and is gone with its last descriptor.
  int descriptor = -1;
  // "6x4" or "6x8"; empty when neither queue nor job says.
  std::string ribbon;
  // Why there is no copy, for the log; text from outside may be in it.
  std::string failure;
};

// Marks the defaults of the PPD file at `path`, then the options in `job_options` as CUPS hands
// them to a filter (null for none), and makes the copy. The caller closes the descriptor.
[[nodiscard]] JobPpd make_job_ppd(const char* path, const char* job_options);

// `text`, a PPD file, with every "*Default" line of an option naming the option's marked choice in
// `ppd`, which was read from the same file. Every other line stays as it is.
[[nodiscard]] std::string with_marked_defaults(std::string_view text, ppd_file_t* ppd);
