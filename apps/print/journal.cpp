// A line of text for each picture, after a first line that says what this is:
//
//   taken CHECKSUM SIZE CHANGED NAME
//   begun CHECKSUM SIZE CHANGED NAME JOB TITLE
//
// Names and titles are written with %XX for every byte that is not a plain letter.
#include "apps/print/journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

#include "apps/base/write_whole.h"

namespace {

constexpr char kFirstLine[] = "k905-print journal 1";

std::string folder_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

bool is_plain(unsigned char letter) {
  return (letter >= '0' && letter <= '9') || (letter >= 'A' && letter <= 'Z') ||
         (letter >= 'a' && letter <= 'z') || letter == '.' || letter == '_' || letter == '-';
}

std::string escaped(const std::string& text) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string safe;
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    if (is_plain(byte)) {
      safe += letter;
    } else {
      safe += {'%', digits[byte >> 4], digits[byte & 15]};
    }
  }
  return safe;
}

template <typename Number>
bool parse(const std::string& text, Number& number, int base = 10) {
  const char* end = text.data() + text.size();
  const auto [rest, problem] = std::from_chars(text.data(), end, number, base);
  return problem == std::errc() && rest == end;
}

bool unescape(const std::string& safe, std::string& text) {
  text.clear();
  for (std::size_t i = 0; i < safe.size(); ++i) {
    if (safe[i] != '%') {
      text += safe[i];
      continue;
    }
    unsigned byte = 0;
    if (i + 2 >= safe.size() || !parse(safe.substr(i + 1, 2), byte, 16)) {
      return false;
    }
    text += static_cast<char>(byte);
    i += 2;
  }
  return !text.empty();
}

std::string line_of(const std::string& name, const JournalEntry& entry) {
  char numbers[80];
  std::snprintf(numbers, sizeof numbers, "%016llx %llu %lld ",
                static_cast<unsigned long long>(entry.stamp.checksum),
                static_cast<unsigned long long>(entry.stamp.size),
                static_cast<long long>(entry.stamp.changed_ns));
  const std::string picture = numbers + escaped(name);
  return entry.begun_job == 0 ? "taken " + picture + "\n"
                              : "begun " + picture + " " + std::to_string(entry.begun_job) + " " +
                                    escaped(entry.job_title) + "\n";
}

bool parse_line(const std::string& line, std::string& name, JournalEntry& entry) {
  std::istringstream words_of(line);
  std::vector<std::string> words;
  for (std::string word; words_of >> word;) {
    words.push_back(word);
  }
  const bool begun = !words.empty() && words[0] == "begun";
  return words.size() == (begun ? 7U : 5U) && (begun || words[0] == "taken") &&
         parse(words[1], entry.stamp.checksum, 16) && parse(words[2], entry.stamp.size) &&
         parse(words[3], entry.stamp.changed_ns) && unescape(words[4], name) &&
         (!begun || (parse(words[5], entry.begun_job) && unescape(words[6], entry.job_title)));
}

// The new name is in the folder's own pages, which have to reach the disk as well.
bool sync_folder(const std::string& path) {
  const int folder = open(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0) {
    return false;
  }
  // Some network file systems refuse it; they have no such pages.
  const bool synced = fsync(folder) == 0 || errno == EINVAL;
  close(folder);
  return synced;
}

}  // namespace

std::optional<std::uint64_t> checksum_of_file(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    return std::nullopt;
  }
  constexpr std::uint64_t prime = 0x100000001b3;
  std::uint64_t checksum = 0xcbf29ce484222325;  // FNV-1a
  std::vector<unsigned char> bytes(1 << 17);
  ssize_t got = 0;
  do {
    got = read(file, bytes.data(), bytes.size());
    for (ssize_t i = 0; i < got; ++i) {
      checksum = (checksum ^ bytes[static_cast<std::size_t>(i)]) * prime;
    }
  } while (got > 0 || (got < 0 && errno == EINTR));
  const int reason = errno;
  close(file);
  errno = reason;
  return got < 0 ? std::nullopt : std::optional(checksum);
}

Journal::~Journal() {
  if (lock_ >= 0) {
    close(lock_);
  }
}

bool Journal::open(const std::string& path, std::string& error) {
  path_ = path;
  if (!lock(error) || !read(error)) {
    return false;
  }
  // Now rather than after the first sheet: a journal that cannot be kept would print twice.
  return keep(error);
}

const JournalEntry* Journal::find(const std::string& name) const {
  const auto entry = entries_.find(name);
  return entry == entries_.end() ? nullptr : &entry->second;
}

void Journal::set(const std::string& name, const JournalEntry& entry) { entries_[name] = entry; }

void Journal::remove(const std::string& name) { entries_.erase(name); }

bool Journal::keep(std::string& error) const {
  std::string text = std::string(kFirstLine) + "\n";
  for (const auto& [name, entry] : entries_) {
    text += line_of(name, entry);
  }
  const std::string fresh = path_ + ".new";
  const int file = ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  bool kept = file >= 0 && write_whole(file, text) && fsync(file) == 0;
  if (file >= 0) {
    kept = close(file) == 0 && kept;
  }
  kept = kept && rename(fresh.c_str(), path_.c_str()) == 0 && sync_folder(path_);
  if (!kept) {
    error = path_ + ": " + std::strerror(errno);
  }
  return kept;
}

bool Journal::lock(std::string& error) {
  const std::string path = path_ + ".lock";
  lock_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (lock_ < 0) {
    error = path + ": " + std::strerror(errno);
    return false;
  }
  if (flock(lock_, LOCK_EX | LOCK_NB) != 0) {
    error = path_ + ": another k905-print is at work with this journal";
    return false;
  }
  return true;
}

bool Journal::read(std::string& error) {
  std::ifstream file(path_, std::ios::binary);
  if (!file) {
    if (access(path_.c_str(), F_OK) != 0 && errno == ENOENT) {
      return true;
    }
    error = path_ + ": " + std::strerror(errno);
    return false;
  }
  std::string line;
  bool sound = static_cast<bool>(std::getline(file, line)) && line == kFirstLine;
  while (sound && std::getline(file, line)) {
    std::string name;
    JournalEntry entry;
    sound = parse_line(line, name, entry);
    entries_[name] = entry;
  }
  if (!sound) {
    // Printing everything again would be the dearer mistake.
    error = path_ + ": not a journal of k905-print; move it away to begin a new one";
  }
  return sound;
}
