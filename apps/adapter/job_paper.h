// The paper of a job, from what queue and job choose.
#pragma once

#include <cups/ppd.h>

#include <string>

#include "paper/paper_table.h"

namespace k905 {

struct JobPaper {
  // Null when the PPD file is not one of ours or the job is refused.
  const PaperConfig* paper = nullptr;
  // Why the job must not be printed, for the user; empty when it may.
  std::string refusal;
};

// The page size that the job's options name, by any usual name; without one the PPD file's default.
// Cut as K905Cut says. Marks the file's default choices and the job's options over them: a size of
// the PPD file that is known by another name is marked too.
[[nodiscard]] JobPaper mark_job_choices(ppd_file_t* ppd, int count, cups_option_t* options);

}  // namespace k905
