// Reads the settings of the sheet from a raster page's header.
#pragma once

#include <cups/raster.h>

// Interprets the header and writes paper_config, rotate_90, interlace, interlace_factor,
// resolution, color_model and copies of current_options; logs a dump of the header and every
// decision. A repeated call with the same header changes nothing. Does nothing, and logs nothing,
// if the header is null. Never fails: an unknown value is logged, and a default or the current
// setting is used instead.
void extract_print_params_from_header(const cups_page_header2_t* header);
