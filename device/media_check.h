// Whether the media in the printer takes a sheet.
#pragma once

#include <cstdint>
#include <string>

namespace k905 {

// The media that a sheet of this size needs, by the printer's name for it: "6x4", "5x7". "" for a
// size that is no paper's canvas.
[[nodiscard]] std::string media_for_sheet(std::uint32_t width, std::uint32_t height);

// Whether a sheet that needs one media comes out on another: of the same width, and as long or
// longer. True when either name is not known: only a certain mismatch stops a job.
[[nodiscard]] bool takes_sheet(const std::string& loaded, const std::string& needed);

}  // namespace k905
