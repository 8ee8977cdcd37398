#include "apps/print/folder_watch.h"

#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <string_view>
#include <system_error>
#include <utility>

#include "apps/print/photo_file.h"

namespace k905 {

namespace {

constexpr std::string_view kPhotoEndings[] = {".jpg",  ".jpeg", ".png",  ".tif",  ".tiff",
                                              ".webp", ".heic", ".heif", ".avif", ".gif",
                                              ".ppm",  ".pgm",  ".pnm"};
// Programs that copy or download use these names until the file is complete.
constexpr std::string_view kUnfinishedEndings[] = {".part",       ".partial", ".filepart",
                                                   ".crdownload", ".tmp",     ".download"};

constexpr std::uint32_t kEvents = IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_TO |
                                  IN_MOVED_FROM | IN_DELETE | IN_ATTRIB | IN_DELETE_SELF |
                                  IN_MOVE_SELF | IN_ONLYDIR;

// Local file systems, on which inotify reports every change: ext, XFS, btrfs, tmpfs, overlay, F2FS,
// FAT, exFAT, NTFS, ZFS.
constexpr std::uint32_t kLocalFileSystems[] = {0xEF53,     0x58465342, 0x9123683E, 0x01021994,
                                               0x794C7630, 0xF2F52010, 0x4D44,     0x2011BAB0,
                                               0x7366746E, 0x2FC12FC1};

// In lower case, with its dot; "" if there is none.
std::string ending_of(const std::string& name) {
  const std::size_t dot = name.rfind('.');
  if (name[0] == '.' || dot == std::string::npos) {
    return "";
  }
  std::string ending = name.substr(dot);
  std::ranges::transform(ending, ending.begin(),
                         [](unsigned char letter) { return std::tolower(letter); });
  return ending;
}

bool is_photo_name(const std::string& name) {
  return std::ranges::find(kPhotoEndings, ending_of(name)) != std::end(kPhotoEndings);
}

bool is_local(const std::string& folder) {
  struct statfs status {};
  return statfs(folder.c_str(), &status) == 0 &&
         std::ranges::find(kLocalFileSystems, static_cast<std::uint32_t>(status.f_type)) !=
             std::end(kLocalFileSystems);
}

// Calls `use` with every name. False with errno set.
bool for_each_name(const std::string& path, const std::function<void(const std::string&)>& use) {
  std::error_code error;
  for (std::filesystem::directory_iterator file(path, error), end; !error && file != end;
       file.increment(error)) {
    use(file->path().filename());
  }
  errno = error.value();
  return !error;
}

std::optional<struct stat> status_of(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? std::optional(status) : std::nullopt;
}

// The age of the last status change; unlike the modification time, no program can set it.
std::chrono::milliseconds age_of(const struct stat& status) {
  const std::chrono::seconds age(std::time(nullptr) - status.st_ctim.tv_sec);
  // The time has whole seconds; minus one, so that the age is never too high.
  return std::max(age - std::chrono::seconds(1), std::chrono::seconds(0));
}

}  // namespace

struct FolderWatch::Event {
  std::uint32_t mask = 0;
  std::uint32_t cookie = 0;
  std::string name;
};

FolderWatch::FolderWatch(FolderWatchSetup setup)
    : setup_(std::move(setup)), events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  setup_.scan_folder = setup_.scan_folder || !events_ || !is_local(setup_.folder);
  (void)follow_folder();  // take() reports the error
}

std::optional<FolderEvents> FolderWatch::take() {
  FolderEvents found;
  read_events(found);
  if (!follow_folder()) {
    return std::nullopt;
  }
  if (std::exchange(find_all_, false) && !find_all(found)) {
    find_all_ = true;
    return std::nullopt;
  }
  if (setup_.scan_folder && Clock::now() >= next_scan_ && !scan_folder(found)) {
    return std::nullopt;
  }
  const Clock::time_point now = Clock::now();
  for (auto file = pending_.begin(); file != pending_.end();) {
    const Pending& state = file->second;
    if (state.being_written || now - state.changed < setup_.quiet_time) {
      ++file;
      continue;
    }
    found.ready.push_back({file->first, state.arrived});
    file = pending_.erase(file);
  }
  return found;
}

void FolderWatch::wait(std::chrono::milliseconds limit) const {
  for (const auto& [name, state] : pending_) {
    if (!state.being_written) {
      limit = std::min(limit, std::chrono::ceil<std::chrono::milliseconds>(
                                  state.changed + setup_.quiet_time - Clock::now()));
    }
  }
  pollfd event{events_.get(), POLLIN, 0};
  (void)poll(&event, 1, static_cast<int>(std::max(limit, std::chrono::milliseconds(0)).count()));
}

// The path may now name a different folder: the old one was removed and created again, or another
// file system was mounted there.
bool FolderWatch::follow_folder() {
  const auto status = status_of(setup_.folder);
  if (!status || !S_ISDIR(status->st_mode)) {
    errno = status ? ENOTDIR : errno;
    return false;
  }
  if (watch_ >= 0 && status->st_dev == device_ && status->st_ino == inode_) {
    return true;
  }
  device_ = status->st_dev;
  inode_ = status->st_ino;
  has_scanned_ = false;
  present_.clear();  // a file that is not in the new folder was not removed from it
  find_all_ = true;
  if (watch_ >= 0) {
    inotify_rm_watch(events_.get(), watch_);
  }
  watch_ = !events_ ? 0 : inotify_add_watch(events_.get(), setup_.folder.c_str(), kEvents);
  if (watch_ < 0) {
    // Without events the folder is still read at intervals.
    setup_.scan_folder = true;
    watch_ = 0;
  }
  return true;
}

void FolderWatch::read_events(FolderEvents& found) {
  // A rename is two events, and the second one may arrive after the call that read the first.
  const bool was_moved_away = moved_away_.has_value();
  alignas(inotify_event) std::array<char, 65536> bytes;
  ssize_t got = 0;
  bool any = false;
  while (events_ && (got = read(events_.get(), bytes.data(), bytes.size())) > 0) {
    any = true;
    for (ssize_t at = 0; at < got;) {
      inotify_event event{};
      std::memcpy(&event, bytes.data() + at, sizeof event);
      const char* name = event.len > 0 ? bytes.data() + at + sizeof event : "";
      at += static_cast<ssize_t>(sizeof event + event.len);
      take_event({event.mask, event.cookie, name}, found);
    }
  }
  if (was_moved_away && !any) {
    report_move_away(found);
  }
}

void FolderWatch::take_event(const Event& event, FolderEvents& found) {
  if ((event.mask & IN_Q_OVERFLOW) != 0) {
    // Events were lost, possibly including the close of a writer.
    moved_away_.reset();
    pending_.clear();
    find_all_ = true;
    return;
  }
  if ((event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT)) != 0) {
    inode_ = 0;
    return;
  }
  const bool is_arrival = (event.mask & IN_MOVED_TO) != 0;
  if (moved_away_ && !(is_arrival && moved_away_->second == event.cookie)) {
    report_move_away(found);
  }
  if (event.name.empty() || (event.mask & (IN_ISDIR | IN_IGNORED)) != 0) {
    return;
  }
  if (is_photo_name(event.name)) {
    take_file_event(event, found);
    return;
  }
  if (is_arrival) {
    report_move_away(found);  // under a name that is not that of a photo
  }
  if ((event.mask & (IN_CREATE | IN_MOVED_TO)) != 0) {
    note_unsupported_type(event.name, found);
  }
}

void FolderWatch::take_file_event(const Event& event, FolderEvents& found) {
  if ((event.mask & IN_MOVED_FROM) != 0) {
    moved_away_ = {event.name, event.cookie};
    return;
  }
  if ((event.mask & IN_DELETE) != 0) {
    pending_.erase(event.name);
    found.removed.push_back({event.name, ""});
    return;
  }
  if ((event.mask & IN_MOVED_TO) != 0) {
    take_arrival(event, found);
    return;
  }
  Pending& file = pending_[event.name];
  file.changed = Clock::now();
  file.arrived = file.arrived || (event.mask & IN_ATTRIB) == 0;
  // The system reports the end of every writer, also after a crash, so a file never waits
  // indefinitely.
  file.being_written = (event.mask & IN_MODIFY) != 0 ||
                       (file.being_written && (event.mask & (IN_CREATE | IN_ATTRIB)) != 0);
}

void FolderWatch::take_arrival(const Event& event, FolderEvents& found) {
  Pending file{.changed = Clock::now(), .being_written = false, .arrived = true};
  if (moved_away_) {
    const std::string from = std::exchange(moved_away_, std::nullopt)->first;
    const auto was = pending_.find(from);
    file.arrived = was != pending_.end() && was->second.arrived;
    file.being_written = was != pending_.end() && was->second.being_written;
    pending_.erase(from);
    found.removed.push_back({from, event.name});
  }
  pending_[event.name] = file;
}

void FolderWatch::report_move_away(FolderEvents& found) {
  if (moved_away_) {
    pending_.erase(moved_away_->first);
    found.removed.push_back({moved_away_->first, ""});
    moved_away_.reset();
  }
}

bool FolderWatch::find_all(FolderEvents& found) {
  const Clock::time_point now = Clock::now();
  return for_each_name(setup_.folder, [&](const std::string& name) {
    if (!is_photo_name(name)) {
      note_unsupported_type(name, found);
      return;
    }
    const auto status = status_of(setup_.folder + "/" + name);
    if (status ? S_ISREG(status->st_mode) : errno != ENOENT) {
      const auto age = status ? age_of(*status) : std::chrono::milliseconds(0);
      pending_.try_emplace(name, Pending{.changed = now - age});
    }
  });
}

bool FolderWatch::scan_folder(FolderEvents& found) {
  const Clock::time_point start = Clock::now();
  const bool is_first = !std::exchange(has_scanned_, true);
  std::map<std::string, FileStamp> present;
  const bool readable = for_each_name(setup_.folder, [&](const std::string& name) {
    const auto status = is_photo_name(name) ? status_of(setup_.folder + "/" + name) : std::nullopt;
    if (status && S_ISREG(status->st_mode)) {
      present.emplace(name, stamp_of(*status));
    }
  });
  if (!readable) {
    has_scanned_ = !is_first;
    return false;
  }
  for (const auto& [name, stamp] : present_) {
    if (!present.contains(name)) {
      pending_.erase(name);
      found.removed.push_back({name, ""});
    }
  }
  for (const auto& [name, stamp] : present) {
    const auto before = present_.find(name);
    if (before == present_.end() ? !is_first : before->second != stamp) {
      Pending& file = pending_[name];
      file.changed = start;
      file.arrived = true;
    }
  }
  present_ = std::move(present);
  if (setup_.scan_interval > std::chrono::milliseconds(0)) {
    // The pause is at least 20 times as long as the scan, to limit the load of a large folder on a
    // slow share.
    constexpr int scans_per_pause = 20;
    next_scan_ = Clock::now() + std::max<Clock::duration>(setup_.scan_interval,
                                                          scans_per_pause * (Clock::now() - start));
  }
  return true;
}

void FolderWatch::note_unsupported_type(const std::string& name, FolderEvents& found) {
  const std::string ending = ending_of(name);
  if (ending.empty() ||
      std::ranges::find(kUnfinishedEndings, ending) != std::end(kUnfinishedEndings)) {
    return;
  }
  const auto status = status_of(setup_.folder + "/" + name);
  if (status && S_ISREG(status->st_mode) && unsupported_types_.insert(ending).second) {
    found.unsupported_files.push_back(name);
  }
}

}  // namespace k905
