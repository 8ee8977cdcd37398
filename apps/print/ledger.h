// A SQLite database of the sheets of watched folders and their outcomes, so that each photo is
// printed once, even after a restart, a crash or a power failure.
//
// Every change is on disk when its function returns. All functions except open() throw LedgerError
// if the database cannot be read or written; the change is then rolled back.
#pragma once

#include <SQLiteCpp/Exception.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace SQLite {
class Database;
}

namespace k905 {

using LedgerError = SQLite::Exception;

// The metadata of a file: a change of its bytes changes some of it.
struct FileStamp {
  std::uint64_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t modified_s = 0;
  std::int64_t modified_ns = 0;
  std::int64_t changed_s = 0;
  std::int64_t changed_ns = 0;
  bool operator==(const FileStamp&) const = default;
};

// The identity of a photo: the number of its bytes and their FNV-1a hash.
struct Content {
  std::uint64_t size = 0;
  std::uint64_t hash = 0;
  bool operator==(const Content&) const = default;
};

// The hash of a file whose bytes were not read.
inline constexpr std::uint64_t kNotRead = 0;

// A file of a watched folder that was ordered, refused or skipped (--new-only).
struct KnownFile {
  FileStamp stamp;
  Content content;
  bool refused = false;
};

enum class Outcome {
  waiting,    // ordered; nothing has been sent
  begun,      // about to be sent: a queue may have an empty job with this ticket
  sending,    // a queue has the held job `number`; a file or device may have a part of the sheet
  complete,   // a queue has the complete held job, which is about to be released
  printed,    // accepted by the queue, the device or the file
  in_doubt,   // the program ended while it sent the sheet to the device
  refused,    // the file cannot be read as a photo
  withdrawn,  // the file was removed or changed before the sheet was printed
};
[[nodiscard]] const char* text_of(Outcome outcome);

// The beginning of a sheet in a regular file.
struct FilePlace {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t length = 0;  // of the file, before the sheet
};

// A printer that was asked, and its life counter as it was last read: after the sheet if that came
// out, otherwise before it.
struct KnownPrinter {
  std::string serial_number;  // "" if it is not known
  int life_counter = 0;       // 0 if it is not known
};

// Destination and settings of sheets.
struct SheetTarget {
  std::string queue;     // name; "" when there is none
  std::string device;    // device or file; "" when there is none
  std::string settings;  // see settings_text() in sheet_printer.h
  std::string hold;      // until when the queue holds its jobs; "" if it does not
};

// The maximum number of sheets: of the event or, if `event` is empty, of each folder and day.
struct SheetLimit {
  int sheets = 0;  // 0: any number
  std::string event;
};

struct SheetEntry {
  std::int64_t id = 0;
  std::string folder;
  std::string name;  // in the folder
  Content content;
  SheetTarget target;
  std::string event;   // that the sheet counts for; "" if there is none
  std::string ticket;  // the mark of the job, the same for all its sheets
  int number = 0;      // of the job in the queue
  std::optional<FilePlace> place;
  KnownPrinter printer;
  std::int64_t time = 0;  // of the last change of `outcome`, in seconds of the Unix epoch
  Outcome outcome = Outcome::waiting;
  std::string reason;  // of the outcome, if there is one
};

class Ledger {
 public:
  using Clock = std::int64_t (*)();  // seconds of the Unix epoch

  explicit Ledger(Clock clock = nullptr);  // null: the system's
  ~Ledger();

  // Opens the ledger, or creates one. False, with the reason in `error`, if it cannot be written or
  // is not a ledger.
  [[nodiscard]] bool open(const std::string& path, std::string& error);

  // Changes whenever another process has changed the ledger.
  [[nodiscard]] std::int64_t data_version() const;

  // Files. A folder is given by its canonical path.
  [[nodiscard]] bool is_folder_known(const std::string& folder) const;
  void add_folder(const std::string& folder);
  [[nodiscard]] std::optional<KnownFile> find_file(const std::string& folder,
                                                   const std::string& name) const;
  void set_file(const std::string& folder, const std::string& name, const KnownFile& file);
  void rename_file(const std::string& folder, const std::string& from, const std::string& to);
  // To be called when the file was removed: another file with its name is then a new order. Sheets
  // that still wait are withdrawn.
  void forget_file(const std::string& folder, const std::string& name);

  // Orders. The file and its sheets are recorded together; `file` is null if it is not in the
  // folder itself.
  void order(const std::string& folder, const std::string& name, const Content& content,
             const KnownFile* file, int sheets);
  void refuse(const std::string& folder, const std::string& name, const KnownFile& file,
              const std::string& reason);
  [[nodiscard]] std::vector<SheetEntry> waiting(const std::string& folder,
                                                const std::string& name) const;
  [[nodiscard]] std::vector<std::string> names_waiting(const std::string& folder) const;
  void withdraw(std::int64_t id, const std::string& reason);

  // Jobs. Pages of one job that share a sheet have the same position.
  struct JobSheet {
    std::int64_t id = 0;
    int position = 0;
  };
  // False if the sheets would exceed the limit of the event; nothing is begun then. Other
  // processes may print for the same event: they use the same ledger, so their sheets count.
  [[nodiscard]] bool begin(const std::string& ticket, const std::vector<JobSheet>& sheets,
                           const SheetTarget& target, const SheetLimit& limit = {});
  void record_sending(const std::string& ticket, int number, const std::optional<FilePlace>& place,
                      const KnownPrinter& printer = {});
  // Unknown values of `printer` do not change the recorded ones.
  void set_outcome(const std::string& ticket, Outcome outcome, const std::string& reason = "",
                   const KnownPrinter& printer = {});
  // The jobs of a folder that are begun, sending or complete, one entry for each sheet, by ticket.
  [[nodiscard]] std::vector<SheetEntry> unfinished(const std::string& folder) const;

  [[nodiscard]] std::optional<SheetEntry> find_sheet(std::int64_t id) const;
  [[nodiscard]] std::optional<SheetEntry> newest_sheet(const std::string& folder,
                                                       const std::string& name) const;
  // The newest sheet of this file and content that was printed or is in doubt.
  [[nodiscard]] std::optional<SheetEntry> last_printed(const std::string& folder,
                                                       const std::string& name,
                                                       const Content& content) const;
  // The number of the folder's sheets that are begun, sending, complete, printed or in doubt and
  // whose outcome changed last today, in the local time zone.
  [[nodiscard]] int sheets_today(const std::string& folder) const;
  // The number of such sheets of an event, on any day and in any folder.
  [[nodiscard]] int sheets_of_event(const std::string& event) const;
  // Whether a later job has written to the file after the beginning of this unfinished sheet. The
  // caller must hold the lock of the file.
  [[nodiscard]] bool has_later_job_in_file(const SheetEntry& sheet) const;
  // All sheets, the oldest first.
  [[nodiscard]] std::vector<SheetEntry> history() const;

  // Adds photos that were printed, or may have been, before this ledger existed. Existing entries
  // are not changed.
  struct Earlier {
    std::string name;
    KnownFile file;
    Outcome outcome = Outcome::printed;
  };
  void add_earlier(const std::string& folder, const std::vector<Earlier>& photos,
                   const std::string& reason);

 private:
  [[nodiscard]] std::int64_t now() const { return clock_(); }
  void add_sheet(const std::string& folder, const std::string& name, const Content& content,
                 std::int64_t time, Outcome outcome, const std::string& reason);

  template <typename... Values>
  void run(const char* sql, const Values&... values);

  std::unique_ptr<SQLite::Database> database_;
  Clock clock_;
};

}  // namespace k905
