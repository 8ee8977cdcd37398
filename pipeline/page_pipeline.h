// From one raster page to the three planes of a sheet.
#pragma once

#include <cups/raster.h>

#include <cstdint>

class PageMemory;

// Builds the finished canvas of one page: reads cupsHeight lines of cupsBytesPerLine bytes from
// `raster` (which stands at the page's first line), resizes, converts, adjusts, turns and places
// them as the header and current_options ask. Interprets the header itself
// (extract_print_params_from_header).
//
// On success stores three newly allocated planes, each canvas width x canvas height bytes (the
// height doubled when interlaced), rows from the top, stride = width, and returns 0; the caller
// frees each with free(). On failure logs why, stores nothing and returns -1; after a line that
// could not be read the rest of the page stays unread in the stream.
//
// `memory`, when given, is what a job keeps from page to page; it changes no byte and no line.
[[nodiscard]] int k905_build_planes_resampled(const cups_page_header2_t* header,
                                              cups_raster_t* raster, std::uint8_t** out_plane0,
                                              std::uint8_t** out_plane1, std::uint8_t** out_plane2,
                                              PageMemory* memory = nullptr);

// Interprets the header and logs what building the page once more would log. For a further copy of
// the page that was built last, successfully, with this `memory`: its planes are the same.
void k905_report_page_again(const cups_page_header2_t* header, const PageMemory& memory);
