// Whether a sheet can be printed on the loaded media.
#pragma once

#include <cstdint>
#include <string>

namespace k905 {

// The media for a sheet of this size, by the printer's name for it: "6x4", "5x7". Empty for a size
// that is not the canvas of a paper.
[[nodiscard]] std::string media_for_sheet(std::uint32_t width, std::uint32_t height);

// Whether a sheet for one media can be printed on another: of the same width, and at least as long.
// True if either name is unknown: only a certain mismatch stops a job.
[[nodiscard]] bool media_fits_sheet(const std::string& loaded, const std::string& needed);

}  // namespace k905
