// A file holds three versions of its job's record, each with a sequence number and a checksum. A
// save overwrites the oldest one. At most the newest two have not reached the disk: if the power
// fails while they are written, the third is intact.

#include "apps/backend/job_record.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <sstream>
#include <string_view>

#include "apps/backend/printer_lock.h"
#include "apps/base/descriptor.h"
#include "apps/base/fnv1a.h"
#include "apps/base/write_all.h"

namespace k905::backend {

namespace {

constexpr char kFirstLine[] = "k905 job record 1";
constexpr char kPrefix[] = "job-";

constexpr std::time_t kDayS = 24L * 60 * 60;
// A job that was held can be released much later.
constexpr std::time_t kMaxUnfinishedAgeS = 30 * kDayS;

std::string file_name(int job) { return kPrefix + std::to_string(job); }

// Longer names are cut, so that a record always fits into kVersionBytes.
constexpr std::size_t kMaxNameBytes = 1000;

std::string problem_of(const std::string& file, int error) {
  return file + ": " + std::strerror(error);
}

std::string one_line(std::string text) {
  text.resize(std::min(text.size(), kMaxNameBytes));
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r' || c == '\0'; }, ' ');
  return text;
}

template <typename Number>
bool parse_number(const std::string& text, Number& number) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc{} && stop == end;
}

bool parse_flag(const std::string& text, bool& flag) {
  flag = text == "1";
  return flag || text == "0";
}

bool set_field(const std::string& key, const std::string& value, JobRecord& record) {
  if (key == "identity") {
    record.identity = value;
    return true;
  }
  if (key == "printer") {
    record.printer = value;
    return true;
  }
  return (key == "job" && parse_number(value, record.job)) ||
         (key == "printed" && parse_number(value, record.printed)) ||
         (key == "reported" && parse_number(value, record.reported)) ||
         (key == "sending" && parse_number(value, record.sending)) ||
         (key == "life" && parse_number(value, record.life)) ||
         (key == "buffers" && parse_number(value, record.buffers)) ||
         (key == "asked" && parse_flag(value, record.asked)) ||
         (key == "completed" && parse_number(value, record.completed)) ||
         (key == "ended" && parse_number(value, record.ended));
}

// Returns 0 or errno.
int read_text(int descriptor, std::string& text) {
  char piece[4096];
  for (;;) {
    const ssize_t got = read(descriptor, piece, sizeof piece);
    if (got <= 0) {
      return got == 0 ? 0 : errno;
    }
    text.append(piece, static_cast<std::size_t>(got));
  }
}

// Each version has its own block of the disk.
constexpr std::size_t kVersionBytes = 4096;
constexpr unsigned kVersions = 3;

constexpr char kSequence[] = "sequence=";
constexpr char kChecksum[] = "checksum=";

std::string version_text(const JobRecord& record, unsigned sequence) {
  std::string text = to_text(record) + kSequence + std::to_string(sequence) + "\n";
  text += kChecksum + std::to_string(fnv1a(text)) + "\n";
  text.resize(kVersionBytes, '\0');
  return text;
}

struct Version {
  JobRecord record;
  unsigned sequence = 0;
};

std::optional<Version> parse_version(std::string_view text) {
  text = text.substr(0, text.find('\0'));
  const std::size_t checksum = text.rfind(kChecksum);
  const std::size_t sequence = text.substr(0, checksum).rfind(kSequence);
  if (checksum == std::string_view::npos || sequence == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view checked = text.substr(0, checksum);
  if (text.substr(checksum) != kChecksum + std::to_string(fnv1a(checked)) + "\n") {
    return std::nullopt;
  }
  Version version;
  const std::size_t digits = sequence + std::strlen(kSequence);
  const std::optional<JobRecord> record = parse_record(std::string(checked.substr(0, sequence)));
  if (!record || !parse_number(std::string(checked.substr(digits, checked.size() - digits - 1)),
                               version.sequence)) {
    return std::nullopt;
  }
  version.record = *record;
  return version;
}

std::optional<Version> newest_version(std::string_view file) {
  std::optional<Version> newest;
  while (!file.empty()) {
    const std::optional<Version> version = parse_version(file.substr(0, kVersionBytes));
    if (version && (!newest || version->sequence > newest->sequence)) {
      newest = version;
    }
    file.remove_prefix(std::min(kVersionBytes, file.size()));
  }
  return newest;
}

}  // namespace

std::string to_text(const JobRecord& record) {
  std::ostringstream text;
  text << kFirstLine << "\njob=" << record.job << "\nidentity=" << one_line(record.identity)
       << "\nprinter=" << one_line(record.printer) << "\nprinted=" << record.printed
       << "\nreported=" << record.reported << "\nsending=" << record.sending
       << "\nlife=" << record.life << "\nbuffers=" << record.buffers << "\nasked=" << record.asked
       << "\ncompleted=" << record.completed << "\nended=" << record.ended << "\n";
  return text.str();
}

std::optional<JobRecord> parse_record(const std::string& text) {
  std::istringstream lines(text);
  std::string line;
  if (!std::getline(lines, line) || line != kFirstLine) {
    return std::nullopt;
  }
  JobRecord record;
  while (std::getline(lines, line)) {
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos ||
        !set_field(line.substr(0, equals), line.substr(equals + 1), record)) {
      return std::nullopt;
    }
  }
  return record;
}

RecordFolder::~RecordFolder() {
  for (const int descriptor : {folder_, printer_lock_, job_lock_}) {
    if (descriptor >= 0) {
      close(descriptor);
    }
  }
}

int RecordFolder::open(const std::string& path, int user, int group) {
  if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
    return errno;
  }
  folder_ = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder_ < 0) {
    return errno;
  }
  user_ = user;
  group_ = group;
  const int error = set_owner(folder_);
  (void)fchmod(folder_, 0710);  // the group opens the lock files of printers in it
  return error;
}

// Refuses a file with a second hard link: it could be the file of another user.
int RecordFolder::set_owner(int descriptor) const {
  struct stat about {};
  if (user_ < 0) {
    return 0;
  }
  if (fstat(descriptor, &about) != 0) {
    return errno;
  }
  if (!S_ISDIR(about.st_mode) && about.st_nlink != 1) {
    return EMLINK;
  }
  return fchown(descriptor, static_cast<uid_t>(user_), static_cast<gid_t>(group_)) == 0 ? 0 : errno;
}

// Without a folder or a file nothing is locked.
bool RecordFolder::open_lock_file(const std::string& name, int& descriptor) const {
  if (descriptor < 0 && folder_ >= 0) {
    descriptor = openat(folder_, name.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor >= 0) {
      (void)set_owner(descriptor);
    }
  }
  return descriptor >= 0;
}

bool RecordFolder::try_lock_printer(const PrinterAddress& printer) {
  if (!open_lock_file(lock_file_name(printer), printer_lock_)) {
    return true;
  }
  (void)fchmod(printer_lock_, 0640);  // the group tests it with PrinterLock
  return flock(printer_lock_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

// One lock file for all jobs, with a byte for each.
int RecordFolder::lock_byte(int job, short type) const {
  struct flock byte {};
  byte.l_type = type;
  byte.l_whence = SEEK_SET;
  byte.l_start = job;
  byte.l_len = 1;
  return fcntl(job_lock_, F_OFD_SETLK, &byte) == 0 ? 0 : errno;
}

bool RecordFolder::try_lock_job(int job) {
  if (!open_lock_file("jobs.lock", job_lock_)) {
    return true;
  }
  const int error = lock_byte(job, F_WRLCK);
  return error != EAGAIN && error != EACCES;
}

void RecordFolder::unlock_job(int job) {
  if (job == file_job_) {
    (void)sync();
    (void)close_file(0);  // the next process with the lock can put another file in its place
  }
  (void)lock_byte(job, F_UNLCK);
}

int RecordFolder::read(const std::string& file, std::optional<JobRecord>& record) const {
  const Descriptor opened(openat(folder_, file.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (!opened) {
    return errno == ENOENT ? 0 : errno;
  }
  std::string text;
  if (const int error = read_text(opened.get(), text)) {
    return error;
  }
  if (const std::optional<Version> version = newest_version(text)) {
    record = version->record;
  }
  return 0;
}

std::string RecordFolder::load(int job, const std::string& identity, JobRecord& record) const {
  std::optional<JobRecord> found;
  if (const int error = folder_ < 0 ? 0 : read(file_name(job), found)) {
    return problem_of(file_name(job), error);
  }
  const bool is_of_this_job = found && found->job == job && found->identity == one_line(identity);
  record = is_of_this_job ? *found : JobRecord{.job = job, .identity = identity, .printer = ""};
  return "";
}

std::string RecordFolder::for_each_record(
    const std::function<void(const std::string&, const JobRecord&)>& visit) const {
  if (folder_ < 0) {
    return "";
  }
  Descriptor folder(openat(folder_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const std::unique_ptr<DIR, int (*)(DIR*)> entries(folder ? fdopendir(folder.get()) : nullptr,
                                                    closedir);
  if (!entries) {
    return problem_of("folder", errno);
  }
  (void)folder.release();  // closed with the entries
  std::string problem;
  for (;;) {
    errno = 0;
    // cppcheck-suppress readdirCalled
    const dirent* entry = readdir(entries.get());
    if (entry == nullptr) {
      return errno == 0 ? problem : problem_of("folder", errno);
    }
    const std::string name = entry->d_name;
    std::optional<JobRecord> record;
    const int error = name.starts_with(kPrefix) ? read(name, record) : 0;
    if (error != 0) {
      problem = problem_of(name, error);
    } else if (record) {
      visit(name, *record);
    }
  }
}

std::string RecordFolder::find_undecided_sheets(const std::string& printer,
                                                std::vector<JobRecord>& found) const {
  found.clear();
  return for_each_record([&](const std::string&, const JobRecord& record) {
    if (record.sending != 0 && record.life >= 0 && record.printer == one_line(printer)) {
      found.push_back(record);
    }
  });
}

void RecordFolder::remove_old() {
  (void)for_each_record([this](const std::string& file, const JobRecord& record) {
    struct stat about {};
    const std::time_t oldest =
        std::time(nullptr) - (record.completed != 0 ? kDayS : kMaxUnfinishedAgeS);
    if (fstatat(folder_, file.c_str(), &about, 0) == 0 && about.st_mtime < oldest) {
      unlinkat(folder_, file.c_str(), 0);
    }
  });
}

int RecordFolder::save(const JobRecord& record) {
  if (folder_ < 0) {
    return 0;
  }
  if (!file_ || record.job != file_job_) {
    return create(record);
  }
  const int error = overwrite(record);
  return error != 0 ? error : sync();
}

// After two unsynced saves in a row only the oldest version would be on disk, and the next write
// would overwrite it. So the second one is synced.
int RecordFolder::save_unsynced(const JobRecord& record) {
  const bool is_open = file_ && record.job == file_job_;
  return is_open && is_synced_ ? overwrite(record) : save(record);
}

int RecordFolder::sync() {
  if (is_synced_ || fdatasync(file_.get()) == 0) {
    is_synced_ = true;
    return 0;
  }
  return close_file(errno);
}

// The new file replaces an earlier one only after all its versions are on disk.
int RecordFolder::create(const JobRecord& record) {
  (void)sync();  // the record of the previous job
  const std::string name = file_name(record.job);
  const std::string new_name = "new-" + name;
  file_job_ = record.job;
  is_synced_ = true;
  file_.reset(openat(folder_, new_name.c_str(),
                     O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
  std::string text;
  for (sequence_ = 0; sequence_ < kVersions; ++sequence_) {
    text += version_text(record, sequence_);
  }
  --sequence_;
  const bool saved = file_ && write_all(file_.get(), text) && fsync(file_.get()) == 0 &&
                     renameat(folder_, new_name.c_str(), folder_, name.c_str()) == 0 &&
                     fsync(folder_) == 0;
  return saved ? 0 : close_file(errno);
}

int RecordFolder::overwrite(const JobRecord& record) {
  ++sequence_;
  is_synced_ = false;
  const std::string text = version_text(record, sequence_);
  const auto place = static_cast<off_t>(kVersionBytes * (sequence_ % kVersions));
  const ssize_t written = pwrite(file_.get(), text.data(), text.size(), place);
  return written == static_cast<ssize_t>(text.size()) ? 0 : close_file(written < 0 ? errno : EIO);
}

// Returns `error`. The next save creates a new file.
int RecordFolder::close_file(int error) {
  file_.reset();
  is_synced_ = true;
  return error;
}

}  // namespace k905::backend
