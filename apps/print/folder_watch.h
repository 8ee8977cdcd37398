// Reports the photos of a folder: those that were added and can be read, removed or renamed.
// Normally each is reported once; the cost does not depend on the number of files.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "apps/base/descriptor.h"
#include "apps/print/ledger.h"

namespace k905 {

struct FolderEvents {
  struct Removed {
    std::string name;
    std::string renamed_to;  // the new name of a photo in this folder; "" if it left the folder
  };
  struct Ready {
    std::string name;
    // It was added or written to while the folder was watched. Otherwise it was in the folder
    // before, was renamed there, or only its permissions or times changed.
    bool arrived = false;
  };
  std::vector<Removed> removed;  // in the order of the events, all before `ready`
  std::vector<Ready> ready;      // sorted by name
  // The first file that was found of each unsupported type.
  std::vector<std::string> unsupported_files;
};

struct FolderWatchSetup {
  std::string folder;
  std::chrono::milliseconds quiet_time{1000};
  // Also read the folder at intervals. Always done if the system does not report changes that other
  // computers make.
  bool scan_folder = false;
  std::chrono::milliseconds scan_interval{2000};  // 0: at every call
};

class FolderWatch {
 public:
  // A photo is ready if nothing was written to it for `quiet_time` and every program that wrote to
  // it has closed it.
  explicit FolderWatch(FolderWatchSetup setup);

  // The events since the last call. The first call reports all photos of the folder, and so does
  // the call after events were lost, even if they were reported before. Nothing, with errno set, if
  // the folder cannot be read.
  [[nodiscard]] std::optional<FolderEvents> take();

  // Waits for a possible change, at most `limit`; a signal ends the wait.
  void wait(std::chrono::milliseconds limit) const;

  // For tests.
  [[nodiscard]] int events_descriptor() const { return events_.get(); }

 private:
  using Clock = std::chrono::steady_clock;
  struct Pending {
    Clock::time_point changed;
    bool being_written = false;
    bool arrived = false;
  };
  struct Event;

  [[nodiscard]] bool follow_folder();
  void read_events(FolderEvents& found);
  void take_event(const Event& event, FolderEvents& found);
  void take_file_event(const Event& event, FolderEvents& found);
  void report_move_away(FolderEvents& found);
  void take_arrival(const Event& event, FolderEvents& found);
  [[nodiscard]] bool find_all(FolderEvents& found);
  [[nodiscard]] bool scan_folder(FolderEvents& found);
  void note_unsupported_type(const std::string& name, FolderEvents& found);

  FolderWatchSetup setup_;
  Descriptor events_;
  int watch_ = -1;
  // The folder that the path named.
  std::uint64_t device_ = 0;
  std::uint64_t inode_ = 0;
  bool find_all_ = true;
  std::map<std::string, Pending> pending_;
  // A name that was moved away; the next event may have its new name.
  std::optional<std::pair<std::string, std::uint32_t>> moved_away_;
  std::set<std::string> unsupported_types_;
  // If the folder is read at intervals: the photos that were found last.
  std::map<std::string, FileStamp> present_;
  bool has_scanned_ = false;
  Clock::time_point next_scan_{};
};

}  // namespace k905
