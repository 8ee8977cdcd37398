#include "apps/print/watch_job.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <utility>

#include "apps/print/folder_watch.h"
#include "apps/print/journal.h"
#include "apps/print/queue_destination.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds kSettle{1000};
constexpr milliseconds kLookAgain{500};
constexpr seconds kTryAgain{15};

std::string home_folder() {
  if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') {
    return home;
  }
  // Asked for before any thread is started.
  // cppcheck-suppress getpwuidCalled
  const passwd* user = getpwuid(getuid());
  return user != nullptr ? user->pw_dir : "";
}

bool is_same(const PictureStamp& stamp, const FolderPicture& picture) {
  return stamp.size == picture.size && stamp.changed_ns == picture.changed_ns;
}

class FolderPrinter {
 public:
  FolderPrinter(const WatchSetup& setup, const Complaint& complain, const Complaint& say)
      : setup_(setup),
        complain_(complain),
        say_(say),
        watch_(setup.folder, kSettle),
        progress_("picture", 1) {}

  int run() {
    std::string error;
    if (!journal_.open(setup_.journal, error)) {
      complain_(error);
      return 1;
    }
    while (!stop_asked() && !journal_is_lost_) {
      look();
      if (!stop_asked() && !journal_is_lost_) {
        watch_.wait(kLookAgain);
        // A file that grows tells so with every piece; ten looks a second are enough.
        usleep(100000);
      }
    }
    return journal_is_lost_ ? 1 : 0;
  }

 private:
  void look() {
    if (Clock::now() < try_again_) {
      return;
    }
    settle_begun_jobs();
    const auto pictures = watch_.ready();
    if (!pictures) {
      complain_once(setup_.folder + ": " + std::strerror(errno));
      return;
    }
    std::vector<FolderPicture> fresh;
    for (const FolderPicture& picture : *pictures) {
      if (!is_done(picture)) {
        fresh.push_back(picture);
      }
    }
    print_all(fresh);
  }

  void print_all(const std::vector<FolderPicture>& pictures) {
    const std::size_t at_once = setup_.one_job ? pictures.size() : 1;
    for (std::size_t i = 0; i < pictures.size(); i += at_once) {
      if (stop_asked() || journal_is_lost_ || Clock::now() < try_again_) {
        return;
      }
      print({pictures.begin() + static_cast<std::ptrdiff_t>(i),
             pictures.begin() + static_cast<std::ptrdiff_t>(i + at_once)});
    }
  }

  bool is_done(const FolderPicture& picture) {
    if (const auto known = unreadable_.find(picture.name);
        known != unreadable_.end() && is_same(known->second, picture)) {
      return true;
    }
    const JournalEntry* entry = journal_.find(picture.name);
    if (entry == nullptr) {
      return false;
    }
    if (entry->begun_job != 0 || is_same(entry->stamp, picture)) {
      return true;
    }
    // The same bytes under another time: touched, or a file system that keeps coarser times than it
    // told before. That is no new picture.
    if (entry->stamp.size != picture.size ||
        checksum_of_file(path_of(picture)) != entry->stamp.checksum) {
      return false;
    }
    JournalEntry updated = *entry;
    updated.stamp.changed_ns = picture.changed_ns;
    journal_.set(picture.name, updated);
    keep_journal();
    return true;
  }

  void print(const std::vector<FolderPicture>& pictures) {
    std::vector<std::string> files;
    std::vector<JournalEntry> entries;
    for (const FolderPicture& picture : pictures) {
      files.push_back(path_of(picture));
      JournalEntry entry;
      entry.stamp = {picture.size, picture.changed_ns, checksum_of_file(files.back()).value_or(0)};
      entries.push_back(entry);
    }
    const std::map<std::string, JournalEntry> before = journal_.entries();
    const auto note_begun = [&](int number, const std::string& title) {
      for (std::size_t i = 0; number != 0 && i < pictures.size(); ++i) {
        JournalEntry begun = entries[i];
        begun.begun_job = number;
        begun.job_title = title;
        journal_.set(pictures[i].name, begun);
      }
      // Where jobs have no number there is nothing new in it; but whether it can be kept is better
      // known before the sheet than behind it.
      return keep_journal();
    };
    const auto complain = [this](const std::string& words) { complain_once(words); };
    const JobResult result = print_job(setup_.job, files, progress_, 0, complain, note_begun);
    for (std::size_t i = 0; i < pictures.size(); ++i) {
      note_outcome(pictures[i], entries[i], result, i, before);
    }
    const bool noted = keep_journal();
    if (result.taken && noted) {
      last_complaint_.clear();
    }
    // Only what is noted is said: whoever reads it may end the watch at once.
    for (std::size_t i = 0; result.taken && i < pictures.size(); ++i) {
      if (result.outcomes[i] == PictureOutcome::sent) {
        say_(pictures[i].name + " -> " + result.word);
      }
    }
    // What kept this one from being printed will keep the next one as well.
    if (std::ranges::count(result.outcomes, PictureOutcome::unreadable) !=
            static_cast<std::ptrdiff_t>(pictures.size()) &&
        !result.taken) {
      try_again_ = Clock::now() + kTryAgain;
    }
  }

  void note_outcome(const FolderPicture& picture, const JournalEntry& entry,
                    const JobResult& result, std::size_t index,
                    const std::map<std::string, JournalEntry>& before) {
    if (result.outcomes[index] == PictureOutcome::unreadable) {
      unreadable_[picture.name] = entry.stamp;
    }
    if (result.taken && result.outcomes[index] == PictureOutcome::sent) {
      journal_.set(picture.name, entry);
      return;
    }
    if (const auto old = before.find(picture.name); old != before.end()) {
      journal_.set(picture.name, old->second);
    } else {
      journal_.remove(picture.name);
    }
  }

  // Jobs whose end an earlier run has not seen.
  void settle_begun_jobs() {
    const std::map<std::string, JournalEntry> entries = journal_.entries();
    bool changed = false;
    for (const auto& [name, entry] : entries) {
      const JobFate fate =
          entry.begun_job == 0 ? JobFate::unknown : fate_of_job(entry.begun_job, entry.job_title);
      if (fate == JobFate::taken) {
        JournalEntry taken = entry;
        taken.begun_job = 0;
        journal_.set(name, taken);
        changed = true;
      } else if (fate != JobFate::unknown) {
        if (fate == JobFate::not_taken) {
          cancel_job(entry.begun_job);
        }
        journal_.remove(name);
        changed = true;
      }
    }
    if (changed) {
      keep_journal();
    }
  }

  bool keep_journal() {
    std::string error;
    if (!journal_is_lost_ && !journal_.keep(error)) {
      complain_(error + "; stopped, because what cannot be noted would be printed again");
      journal_is_lost_ = true;
    }
    return !journal_is_lost_;
  }

  void complain_once(const std::string& words) {
    if (words != last_complaint_) {
      complain_(words);
      last_complaint_ = words;
    }
  }

  [[nodiscard]] std::string path_of(const FolderPicture& picture) const {
    return setup_.folder + "/" + picture.name;
  }

  const WatchSetup& setup_;
  const Complaint& complain_;
  const Complaint& say_;
  FolderWatch watch_;
  Progress progress_;
  Journal journal_;
  std::map<std::string, PictureStamp> unreadable_;
  std::string last_complaint_;
  Clock::time_point try_again_{};
  bool journal_is_lost_ = false;
};

}  // namespace

std::string usual_journal(const std::string& folder, std::string& error) {
  const char* state = std::getenv("XDG_STATE_HOME");
  const std::string home = home_folder();
  std::string place = state != nullptr && *state == '/' ? state
                      : !home.empty()                   ? home + "/.local/state"
                                                        : "";
  if (place.empty()) {
    error = "no place for the journal; name one with --journal";
    return "";
  }
  place += "/k905-print";
  std::error_code problem;
  std::filesystem::create_directories(place, problem);
  const std::string whole = std::filesystem::canonical(folder, problem).string();
  if (problem) {
    error = folder + ": " + problem.message();
    return "";
  }
  // Two folders of the same name have different paths.
  constexpr std::uint64_t prime = 0x100000001b3;
  std::uint64_t checksum = 0xcbf29ce484222325;
  for (const char letter : whole) {
    checksum = (checksum ^ static_cast<unsigned char>(letter)) * prime;
  }
  char ending[32];
  std::snprintf(ending, sizeof ending, "-%016" PRIx64 ".journal", checksum);
  constexpr std::size_t longest = 200;
  return place + "/" + std::filesystem::path(whole).filename().string().substr(0, longest) + ending;
}

int watch_folder(const WatchSetup& setup, const Complaint& complain, const Complaint& say) {
  return FolderPrinter(setup, complain, say).run();
}
