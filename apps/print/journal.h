// Which pictures of a watched folder have been printed: kept on disk, so that each is printed once
// also over a restart, a crash or a lost mains supply.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

// What tells one picture from another put there under the same name.
struct PictureStamp {
  std::uint64_t size = 0;
  std::int64_t changed_ns = 0;
  std::uint64_t checksum = 0;
};

struct JournalEntry {
  PictureStamp stamp;
  // 0: its job was taken. Otherwise the number of a job that was begun for it, and nobody has seen
  // the end of.
  int begun_job = 0;
  std::string job_title;  // of that job
};

// Reads the file's bytes for its checksum; empty with errno set when it cannot.
[[nodiscard]] std::optional<std::uint64_t> checksum_of_file(const std::string& path);

class Journal {
 public:
  Journal() = default;
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // Reads the journal, or begins one. False, with the reason in `error`, when it cannot be read, is
  // no journal, cannot be written, or belongs to a watch that is still running.
  [[nodiscard]] bool open(const std::string& path, std::string& error);

  // Null for a picture that is not in it.
  [[nodiscard]] const JournalEntry* find(const std::string& name) const;
  [[nodiscard]] const std::map<std::string, JournalEntry>& entries() const { return entries_; }

  // Changes in memory; keep() brings them to the disk.
  void set(const std::string& name, const JournalEntry& entry);
  void remove(const std::string& name);

  // All of it, on the disk when this returns true. After a false, with the reason in `error`, the
  // disk has the state before.
  [[nodiscard]] bool keep(std::string& error) const;

 private:
  [[nodiscard]] bool lock(std::string& error);
  [[nodiscard]] bool read(std::string& error);

  std::string path_;
  int lock_ = -1;
  std::map<std::string, JournalEntry> entries_;
};
