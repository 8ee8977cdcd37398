#include "apps/print/ledger_place.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "apps/base/fnv1a.h"
#include "apps/print/old_journal.h"

namespace k905 {

namespace {

std::string home_folder() {
  if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
    return home;
  }
  // Called before any thread is started.
  // cppcheck-suppress getpwuidCalled
  const passwd* user = getpwuid(getuid());
  return user != nullptr ? user->pw_dir : "";
}

// The user's state folder of this program.
std::string state_folder(std::string& error) {
  const char* state = std::getenv("XDG_STATE_HOME");
  const std::string home = home_folder();
  std::string place = state != nullptr && *state == '/' ? state
                      : !home.empty()                   ? home + "/.local/state"
                                                        : "";
  if (place.empty()) {
    error = "there is no folder for the ledger; choose a file with --ledger";
    return "";
  }
  place += "/k905-print";
  std::error_code problem;
  std::filesystem::create_directories(place, problem);
  return place;
}

std::string hash_in_name(const std::string& folder) {
  char text[24];
  std::snprintf(text, sizeof text, "-%016" PRIx64, fnv1a(folder));
  return text;
}

// The journal of earlier versions for this folder.
std::string default_journal(const std::string& folder) {
  std::string error;
  constexpr std::size_t max_bytes = 200;
  const std::string name = std::filesystem::path(folder).filename().string().substr(0, max_bytes);
  return state_folder(error) + "/" + name + hash_in_name(folder) + ".journal";
}

}  // namespace

std::string default_ledger(std::string& error) {
  const std::string place = state_folder(error);
  return place.empty() ? "" : place + "/ledger.sqlite";
}

// If the file at this path is a journal of an earlier version, it is renamed and imported. The
// folder's journal at the default path of earlier versions is imported too.
bool open_ledger(Ledger& ledger, const std::string& path, const std::string& folder,
                 std::string& error) {
  const std::string renamed_path = path + ".old";
  if (is_old_journal(path) && std::rename(path.c_str(), renamed_path.c_str()) != 0) {
    error = path + ": " + std::strerror(errno);
    return false;
  }
  return ledger.open(path, error) && import_old_journal(renamed_path, folder, ledger, error) &&
         import_old_journal(default_journal(folder), folder, ledger, error);
}

FolderLock::Result FolderLock::take(const std::string& ledger, const std::string& folder,
                                    std::string& error) {
  const std::string path = ledger + hash_in_name(folder) + ".lock";
  file.reset(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (file && flock(file.get(), LOCK_EX | LOCK_NB) == 0) {
    return Result::taken;
  }
  error = path + ": " + std::strerror(errno);
  return file && errno == EWOULDBLOCK ? Result::held_by_another : Result::failed;
}

}  // namespace k905
