#include "apps/print/folder_watch.h"

#include <dirent.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

namespace {

constexpr std::array<const char*, 6> kEndings{".jpg", ".jpeg", ".png", ".ppm", ".pgm", ".pnm"};

// By the ending: programs that copy give the file another name until it is whole.
bool is_picture_name(const std::string& name) {
  if (name.empty() || name[0] == '.') {
    return false;
  }
  std::string lower = name;
  std::ranges::transform(lower, lower.begin(),
                         [](unsigned char letter) { return std::tolower(letter); });
  return std::ranges::any_of(kEndings,
                             [&lower](const char* ending) { return lower.ends_with(ending); });
}

struct FolderCloser {
  void operator()(DIR* folder) const { closedir(folder); }
};

std::optional<FolderPicture> look_at(const std::string& folder, const std::string& name) {
  struct stat status {};
  if (stat((folder + "/" + name).c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  return FolderPicture{name, static_cast<std::uint64_t>(status.st_size),
                       std::int64_t{status.st_mtim.tv_sec} * 1000000000 + status.st_mtim.tv_nsec};
}

}  // namespace

FolderWatch::FolderWatch(std::string folder, std::chrono::milliseconds settle)
    : folder_(std::move(folder)),
      settle_(settle),
      events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
  if (events_ >= 0) {
    // Without it the folder is only looked at from time to time.
    (void)inotify_add_watch(events_, folder_.c_str(),
                            IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_MOVED_TO);
  }
}

FolderWatch::~FolderWatch() {
  if (events_ >= 0) {
    close(events_);
  }
}

void FolderWatch::take_events() {
  alignas(inotify_event) std::array<char, 65536> bytes;
  ssize_t got = 0;
  while (events_ >= 0 && (got = read(events_, bytes.data(), bytes.size())) > 0) {
    for (ssize_t at = 0; at < got;) {
      inotify_event event{};
      std::memcpy(&event, bytes.data() + at, sizeof event);
      const char* name = event.len > 0 ? bytes.data() + at + sizeof event : "";
      at += static_cast<ssize_t>(sizeof event + event.len);
      if (!is_picture_name(name)) {
        continue;
      }
      Seen& seen = seen_[name];
      seen.changed = Clock::now();
      // Every writer's end is told, a crash included, so a file never waits for ever.
      seen.being_written =
          (event.mask & IN_MODIFY) != 0 || (seen.being_written && (event.mask & IN_CREATE) != 0);
    }
  }
}

std::optional<std::vector<FolderPicture>> FolderWatch::ready() {
  take_events();
  const std::unique_ptr<DIR, FolderCloser> folder(opendir(folder_.c_str()));
  if (!folder) {
    return std::nullopt;
  }
  const Clock::time_point now = Clock::now();
  // Nobody else reads this folder's stream.
  // cppcheck-suppress readdirCalled
  while (const dirent* entry = readdir(folder.get())) {
    const auto picture =
        is_picture_name(entry->d_name) ? look_at(folder_, entry->d_name) : std::nullopt;
    if (!picture) {
      continue;
    }
    const auto [place, is_new] = seen_.try_emplace(picture->name);
    Seen& seen = place->second;
    seen.still_there = true;
    if (is_new || seen.picture.size != picture->size ||
        seen.picture.changed_ns != picture->changed_ns) {
      seen.changed = now;
    }
    seen.picture = *picture;
  }
  std::vector<FolderPicture> ready;
  for (auto seen = seen_.begin(); seen != seen_.end();) {
    Seen& file = seen->second;
    if (!std::exchange(file.still_there, false)) {
      seen = seen_.erase(seen);
      continue;
    }
    if (!file.being_written && file.picture.size > 0 && now - file.changed >= settle_) {
      ready.push_back(file.picture);
    }
    ++seen;
  }
  return ready;
}

void FolderWatch::wait(std::chrono::milliseconds limit) {
  pollfd event{events_, POLLIN, 0};
  (void)poll(&event, 1, static_cast<int>(limit.count()));
}
