// The folder with an image of every sheet.
#pragma once

#include <optional>
#include <string>

#include "apps/image/sheet_picture.h"

// Creates the folder if it is missing and tests it with a temporary file. Null if sheets can be
// stored there, otherwise the reason.
[[nodiscard]] std::optional<std::string> check_sheet_folder(const std::string& folder);

// Writes an image of the sheet, as the customer will hold it or with every pixel, to the first free
// "sheet-0001.png", "sheet-0002.png" ... of the folder, which is created if it is missing. Returns
// the path of the file, "" on failure with the reason in `error`.
[[nodiscard]] std::string save_sheet_image(const std::string& folder, const k905::Sheet& sheet,
                                           k905::SheetView view, std::string& error);
