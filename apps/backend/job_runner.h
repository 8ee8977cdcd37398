// Prints the sheets of one job, each exactly once.
//
// For each sheet: wait until the printer is ready and has a free buffer; write down which sheet is
// sent and the life counter; send it whole; wait until the life counter shows that it came out;
// write that down. A sheet whose outcome is open, because the connection or the process was lost,
// is decided by the life counter when the printer is back and idle.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "apps/backend/job_record.h"
#include "apps/backend/messages.h"
#include "apps/backend/sheet_source.h"
#include "apps/backend/stop_request.h"
#include "apps/backend/supplies.h"
#include "device/printer.h"
#include "device/printer_report.h"
#include "device/sheet_outcome.h"

namespace k905::backend {

// Exit statuses by which the scheduler decides what becomes of job and queue.
enum ExitStatus : int {
  kDone = 0,
  kFailed = 1,
  kHoldJob = 3,
  kStopQueue = 4,
  kTryAgain = 7,
};

struct JobOptions {
  int job = 0;
  std::string identity;
  // How long an idle printer whose life counter did not move is watched before an interrupted sheet
  // counts as lost.
  std::chrono::milliseconds settle{5000};
  bool check_media = true;  // wait when the loaded media does not take a sheet
};

class JobRunner {
 public:
  // `on_connected` is called once, when the printer was opened for the first time.
  JobRunner(JobOptions options, Printer& printer, SheetSource& source, RecordFolder& records,
            StopRequest& stop, std::function<void()> on_connected);

  [[nodiscard]] int run();

 private:
  using milliseconds = std::chrono::milliseconds;
  enum class Wait { kReady, kStopped };
  using Outcome = SheetOutcome::State;

  bool connect();
  void read_identity();
  bool take_turn();
  Wait wait_until_ready(const Sheet& sheet);
  bool has_media_for(const Sheet& sheet);
  int stopped();
  int free_buffers();
  bool settle_open_sheets();
  int print_sheets();
  int print_sheet(const Sheet& sheet, unsigned number);
  SendResult send(const Sheet& sheet, unsigned number);
  Outcome find_outcome(const JobRecord& record, bool interrupted);
  bool show_status(const Reply& status);
  void show_offline(int error);
  bool save_record();
  void report_sheets();
  void publish_seen();

  JobOptions options_;
  Printer& printer_;
  SheetSource& source_;
  RecordFolder& records_;
  StopRequest& stop_;
  std::function<void()> on_connected_;
  StateReason reason_;
  Supplies supplies_;
  PrinterReport seen_;  // what this process last saw, for programs that must not ask the printer
  std::string published_;
  JobRecord record_;
  std::string identity_;          // of the printer
  int unanswered_ = 0;            // questions in a row
  bool counter_is_ours_ = false;  // no sheet but ours can move the life counter
};

}  // namespace k905::backend
