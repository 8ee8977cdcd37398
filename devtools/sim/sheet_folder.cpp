#include "devtools/sim/sheet_folder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>

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

std::optional<std::string> check_sheet_folder(const std::string& folder) {
  const std::string what = folder + ": sheets cannot be stored here: ";
  std::error_code failure;
  std::filesystem::create_directories(folder, failure);
  if (failure) {
    return what + failure.message();
  }
  std::string probe = folder + "/.k905-sim-XXXXXX";
  const int descriptor = mkostemp(probe.data(), O_CLOEXEC);
  if (descriptor < 0) {
    return what + std::strerror(errno);
  }
  close(descriptor);
  unlink(probe.c_str());
  return std::nullopt;
}

std::string save_sheet_image(const std::string& folder, const k905::Sheet& sheet,
                             k905::SheetView view, std::string& error) {
  std::error_code failure;
  std::filesystem::create_directories(folder, failure);
  if (failure) {
    error = folder + ": " + failure.message();
    return "";
  }
  const std::string path = free_name(folder).string();
  const k905::ShownSheet shown = shown_sheet(sheet, view);
  return write_png(path, shown.picture, shown.density, error) ? path : "";
}
