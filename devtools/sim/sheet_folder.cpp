#include "devtools/sim/sheet_folder.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "apps/image/sheet_picture.h"
#include "apps/image/write_png.h"

namespace {

std::filesystem::path free_name(const std::filesystem::path& folder) {
  for (int number = 1;; ++number) {
    char name[32];
    std::snprintf(name, sizeof name, "sheet-%04d.png", number);
    std::filesystem::path path = folder / name;
    if (!std::filesystem::exists(path)) {
      return path;
    }
  }
}

}  // namespace

std::string keep_sheet(const std::string& folder, const Sheet& sheet, std::string& error) {
  std::error_code failure;
  std::filesystem::create_directories(folder, failure);
  if (failure) {
    error = folder + ": " + failure.message();
    return "";
  }
  const std::string path = free_name(folder).string();
  // The wire does not say how dense the dots lie.
  return write_png(path, sheet_picture(sheet, Mirror::undo), PixelDensity{}, error) ? path : "";
}
