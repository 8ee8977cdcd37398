#include "apps/backend/printer_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>

namespace k905::backend {

std::string lock_file_name(const PrinterAddress& printer) {
  std::string name = "lock-" + to_string(printer);
  std::replace(name.begin(), name.end(), '/', '_');
  return name.substr(0, NAME_MAX);
}

PrinterLock::PrinterLock(const PrinterAddress& printer) {
  const char* cache = std::getenv("CUPS_CACHEDIR");
  const std::string folder = std::string(cache == nullptr ? "/var/cache/cups" : cache) + "/k905/";
  file_.reset(open((folder + lock_file_name(printer)).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (!file_) {
    is_unknown_ = errno != ENOENT;  // without the file nothing was printed yet
  } else if (flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
    is_held_elsewhere_ = true;
  }
}

}  // namespace k905::backend
