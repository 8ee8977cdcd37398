// The folder that keeps a picture of every sheet.
#pragma once

#include <string>

#include "apps/wire/printer_stream.h"

// Writes the sheet, as the customer would hold it, to the first free "sheet-0001.png",
// "sheet-0002.png" ... of the folder, which is made when it is missing. Returns the file's path, ""
// on failure with the reason in `error`.
[[nodiscard]] std::string keep_sheet(const std::string& folder, const Sheet& sheet,
                                     std::string& error);
