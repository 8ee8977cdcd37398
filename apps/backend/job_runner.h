// Prints the sheets of one job, each exactly once.
//
// For each sheet: wait until the printer is ready and has a free buffer; record which sheet is sent
// and the life counter; send the complete sheet; wait until the life counter shows that it was
// printed; record that. If the connection or the process is lost meanwhile, the outcome of the
// sheet is undecided: the life counter decides it when the printer is connected and idle again.
#pragma once

#include <ctime>
#include <functional>
#include <optional>
#include <string>

#include "apps/backend/job_record.h"
#include "apps/backend/messages.h"
#include "apps/backend/sheet_source.h"
#include "apps/backend/stop_request.h"
#include "apps/backend/supplies.h"
#include "device/printer_session.h"

namespace k905::backend {

// Exit statuses, as the scheduler defines them for backends.
enum ExitStatus : int {
  kDone = 0,
  kFailed = 1,
  kHoldJob = 3,
  kStopQueue = 4,
  kTryAgain = 7,
};

struct JobOptions {
  int number = 0;  // of the job
  std::string identity;
  // When the scheduler last ended the job (completed, canceled or aborted it), 0 if it never did.
  // Nothing for a job that no scheduler started.
  std::optional<std::time_t> ended;
  PrinterSession::Setup printer;
  int side_channel = -1;  // where filters ask for the loaded media
};

class JobRunner {
 public:
  // `on_connected` is called once, after the printer has been opened for the first time.
  JobRunner(JobOptions options, SheetSource& source, RecordFolder& records, StopRequest& stop,
            std::function<void()> on_connected);

  [[nodiscard]] int run();

 private:
  using Outcome = PrinterSession::Outcome;
  using Phase = PrinterSession::Phase;

  bool lock_printer();
  bool lock_job();
  bool wait_for_lock();
  int decide_undecided_sheets();
  int decide_own_sheet();
  int decide_sheet_of(int job);
  int decide(JobRecord record);
  int hold_for_operator();
  int print_sheets();
  int print_sheet(const Sheet& sheet, unsigned number);
  int end_sheet(Outcome outcome, unsigned number);
  int end_completed_job();
  [[nodiscard]] bool is_reprint_requested() const;
  int end_stopped_job();
  bool load_record();
  static bool is_read(const std::string& problem);
  static bool is_saved(int error_number);
  void report_sheets();
  bool wait(Phase phase, const Obstacle& obstacle, std::chrono::milliseconds pause);
  void show(const Obstacle& obstacle);
  void show_sent(int error);
  void publish_report();
  void show_first_state();

  JobOptions options_;
  SheetSource& source_;
  RecordFolder& records_;
  StopRequest& stop_;
  std::function<void()> on_connected_;
  PrinterSession session_;
  StateReason reason_;
  Supplies supplies_;
  // The report that was published last, for programs that must not ask the printer. Nothing at
  // first: the scheduler still has the report of an earlier job.
  std::optional<std::string> published_;
  JobRecord record_;
  bool is_reprint_ = false;      // the job starts at its first sheet, whatever its record contains
  std::string decided_printer_;  // the printer whose undecided sheets were decided
};

}  // namespace k905::backend
