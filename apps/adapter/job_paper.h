// The paper of a job, from the options of the queue and of the job.
#pragma once

#include <cups/ppd.h>

#include <string>

#include "paper/paper_table.h"

namespace k905 {

struct JobPaper {
  // Null if the PPD file is not for this printer or the job is refused.
  const PaperConfig* paper = nullptr;
  // Why the job is refused, for the user; empty if it is not.
  std::string refusal;
};

// Returns the paper that the job's options name, by any usual name, otherwise the default of the
// PPD file; in both cases the variant of it that K905Cut specifies. Marks the default choices of
// the file, then the options of the job with cupsMarkOptions(), which also marks a size that the
// job gives by another name than the file.
[[nodiscard]] JobPaper mark_job_choices(ppd_file_t* ppd, int count, cups_option_t* options);

}  // namespace k905
