// The folder that keeps a picture of every sheet.
#pragma once

#include <optional>
#include <string>

#include "apps/image/sheet_picture.h"

// Makes the folder when it is missing and tries to create a file in it, which is removed again.
// Null when sheets can be stored there, otherwise the reason why not.
[[nodiscard]] std::optional<std::string> check_sheet_folder(const std::string& folder);

// Writes the sheet, as the customer would hold it or every pixel of it, to the first free
// "sheet-0001.png", "sheet-0002.png" ... of the folder, which is made when it is missing. Returns
// the file's path, "" on failure with the reason in `error`.
[[nodiscard]] std::string keep_sheet(const std::string& folder, const Sheet& sheet, SheetView view,
                                     std::string& error);
