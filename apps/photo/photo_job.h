// What a job asks of its photos.
#pragma once

#include "apps/adapter/job_options.h"
#include "apps/layout/prepare.h"

namespace k905 {

// Whether all of the photo is to be shown, on white; otherwise it covers the sheet.
[[nodiscard]] Preparation preparation_of(const JobOptions& options);

// Whether the job has options that only CUPS' own photo filter knows: a size in percent or in
// pixels per inch, a place on the page, its own tone settings.
[[nodiscard]] bool wants_usual_filter(const JobOptions& options);

// How many sheets of the photo; `copies` as CUPS hands it to a filter.
[[nodiscard]] long copies_of(const char* copies);

}  // namespace k905
