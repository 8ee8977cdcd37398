// The record of a job on disk, which remains however the process ends: how many sheets came out,
// which one was being sent, and the life counter before it. A job that was interrupted continues
// after the sheets that came out.
#pragma once

#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "apps/base/descriptor.h"
#include "device/printer_address.h"

namespace k905::backend {

struct JobRecord {
  int job = 0;
  std::string identity;       // of the job: CUPS reuses numbers, but not this
  std::string printer;        // serial number of the printer that the sheet was sent to
  unsigned printed = 0;       // sheets that came out
  unsigned reported = 0;      // sheets that were reported to the scheduler
  unsigned sending = 0;       // the sheet with an unknown outcome, 0 for none
  int life = -1;              // life counter before that sheet, -1 if it cannot decide
  int buffers = 0;            // free buffers before that sheet
  bool asked = false;         // the operator was asked to check whether that sheet came out
  std::time_t completed = 0;  // when all sheets had come out, 0 before
  // When the scheduler had last ended the job before this record began, 0 if never. A later time
  // means that the operator printed the job again.
  std::time_t ended = 0;

  bool operator==(const JobRecord&) const = default;
};

// One file for each job in a folder of the print system.
class RecordFolder {
 public:
  RecordFolder() = default;
  ~RecordFolder();
  RecordFolder(const RecordFolder&) = delete;
  RecordFolder& operator=(const RecordFolder&) = delete;

  // Creates the folder if it is missing and sets its owner (-1: unchanged). Does not follow a link.
  // Returns 0 or an errno; without the folder nothing is recorded.
  [[nodiscard]] int open(const std::string& path, int user, int group);

  // Lock the printer (the job) until this process ends. False if another process has the lock: it
  // prints on the same printer, or prints the same job on any printer.
  [[nodiscard]] bool try_lock_printer(const PrinterAddress& printer);
  [[nodiscard]] bool try_lock_job(int job);
  void unlock_job(int job);

  // The next two return why a record cannot be read, such as "job-12: Is a directory", or "". If it
  // cannot, no sheet may be sent: it could be a sheet that was printed already, or move the life
  // counter that decides whether an earlier sheet came out.

  // Reads the job's record, an empty one if there is none or it belongs to an earlier job with this
  // number.
  [[nodiscard]] std::string load(int job, const std::string& identity, JobRecord& record) const;

  // Finds the records with a sheet whose outcome the life counter of this printer can decide. Only
  // the process that has the lock of the job may change such a record.
  [[nodiscard]] std::string find_undecided_sheets(const std::string& printer,
                                                  std::vector<JobRecord>& found) const;

  // Returns 0 when the record is on disk, otherwise an errno. Saving the same job again is one
  // write, without a change of the folder or of the file size. The caller has the lock of the job.
  [[nodiscard]] int save(const JobRecord& record);

  // Saves without waiting for the disk: the record survives the end of this process, and after the
  // next save() or sync() also a power failure. Until then the version that was saved before is on
  // disk.
  [[nodiscard]] int save_unsynced(const JobRecord& record);
  [[nodiscard]] int sync();

  // Removes the records of jobs that were completed a day ago, and of abandoned jobs.
  void remove_old();

 private:
  // Returns why one of the records cannot be read, or "". The others are visited nevertheless.
  std::string for_each_record(
      const std::function<void(const std::string& file, const JobRecord& record)>& visit) const;
  // Returns 0 or errno. A missing file is not an error; `record` then stays empty.
  int read(const std::string& file, std::optional<JobRecord>& record) const;
  int set_owner(int descriptor) const;
  bool open_lock_file(const std::string& name, int& descriptor) const;
  [[nodiscard]] int lock_byte(int job, short type) const;

  int create(const JobRecord& record);
  int overwrite(const JobRecord& record);
  int close_file(int error);

  int folder_ = -1;
  Descriptor file_;  // of the job saved last
  int file_job_ = -1;
  unsigned sequence_ = 0;  // of its newest version
  bool is_synced_ = true;  // that version is on the disk
  int printer_lock_ = -1;
  int job_lock_ = -1;
  int user_ = -1;
  int group_ = -1;
};

[[nodiscard]] std::string to_text(const JobRecord& record);
[[nodiscard]] std::optional<JobRecord> parse_record(const std::string& text);

}  // namespace k905::backend
