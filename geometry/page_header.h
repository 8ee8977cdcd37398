// What a raster page's header contains about the sheet.
#pragma once

#include <cups/raster.h>

// Interprets the header and writes paper_config, rotate_90, interlace, interlace_factor,
// resolution, color_model and copies of current_options; logs the header's dump and every decision.
// A repeated call with the same header changes nothing. A null header returns at once, without a
// word. Nothing here fails: what is unknown is reported and replaced by a default.
void extract_print_params_from_header(const cups_page_header2_t* header);
