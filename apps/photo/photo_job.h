// The options of a job that concern its photos.
#pragma once

#include "apps/base/cups_handles.h"
#include "apps/layout/prepare.h"

namespace k905 {

// How the job's photos are placed: `fit` shows the complete photo on white, otherwise it covers the
// sheet.
[[nodiscard]] PrepareOptions prepare_options_of(const CupsOptions& options);

// Whether the job has options that only the photo filter of CUPS supports: the photo's own size
// (print-scaling=none), a size in percent or in pixels per inch, a position on the page, mirroring,
// brightness, gamma, hue or saturation.
[[nodiscard]] bool needs_default_filter(const CupsOptions& options);

// How many times the page is written, at least 1; `copies` is the filter argument from CUPS.
[[nodiscard]] long copies_of(const char* copies);

}  // namespace k905
