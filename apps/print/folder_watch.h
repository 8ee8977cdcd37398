// The pictures of a folder that are ready to be read, as they come.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct FolderPicture {
  std::string name;  // in the folder
  std::uint64_t size = 0;
  std::int64_t changed_ns = 0;
};

class FolderWatch {
 public:
  // A picture is ready when nobody has written to it for `settle`. Where the system tells of it, a
  // file that is being written to waits for its writer to be done; on a network share, where it
  // does not, size and time of change have to stay the same for `settle`.
  FolderWatch(std::string folder, std::chrono::milliseconds settle);
  ~FolderWatch();
  FolderWatch(const FolderWatch&) = delete;
  FolderWatch& operator=(const FolderWatch&) = delete;

  // Looks through the folder: the pictures that are ready, by name. Nothing when the folder cannot
  // be read, with errno set.
  [[nodiscard]] std::optional<std::vector<FolderPicture>> ready();

  // Waits until something may have changed, at most `limit`; a signal ends the wait.
  void wait(std::chrono::milliseconds limit);

 private:
  using Clock = std::chrono::steady_clock;
  struct Seen {
    FolderPicture picture;
    Clock::time_point changed;
    bool being_written = false;
    bool still_there = false;
  };

  void take_events();

  std::string folder_;
  std::chrono::milliseconds settle_;
  int events_ = -1;
  std::map<std::string, Seen> seen_;
};
