// Logs a detailed listing of a raster page's header.
#pragma once

#include <cups/raster.h>

// Logs the fields of the header, section by section.
void log_header_dump(const cups_page_header2_t& header);

// Logs whether the numbers of the header are consistent. Rejects nothing.
void log_header_validation(const cups_page_header2_t& header);
