// The long listing of a raster page's header, for whoever reads the log.
#pragma once

#include <cups/raster.h>

// Every field of the header, section by section.
void log_header_dump(const cups_page_header2_t& header);

// Whether the header's numbers fit together. A report only; nothing is rejected here.
void log_header_validation(const cups_page_header2_t& header);
