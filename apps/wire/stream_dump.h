// A printer stream as lines of text, for people and for golden files.
#pragma once

#include <string>

#include "apps/wire/printer_stream.h"

namespace k905 {

// A line for the sheet, then one for each of its blocks: offset, group, name, length, and the
// parameter if there is one. An image is followed by its BMP fields and the checksum of its pixels.
// `number` is the number of the sheet in the stream, from 1.
[[nodiscard]] std::string dump_sheet(const Sheet& sheet, int number);

// "offset 24: expected ..., found ..."
[[nodiscard]] std::string describe(const StreamError& error);

}  // namespace k905
