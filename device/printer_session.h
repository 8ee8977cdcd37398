// A printer during a job: reopened after a lost connection, asked before and after each sheet. Used
// by the backend and by k905-print, which differ in their messages and in how long they wait, so
// the owner of a session controls every wait.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "device/printer.h"
#include "device/printer_report.h"
#include "device/sheet_outcome.h"

namespace k905 {

// The reason for waiting.
struct Obstacle {
  enum class Kind {
    kNone,        // no obstacle: a sheet can be sent, or the one that was sent is being printed
    kBusy,        // the printer prints another sheet, or has no free buffer
    kUnanswered,  // one unanswered question; the next may be answered
    kOffline,     // not connected, or no answers
    kStalled,     // accepts no data inside a sheet, or does not tell whether it counted the sheet
    kStatus,      // its status code needs attention
    kMedia,       // other media is loaded than the sheet needs
  };
  Kind kind = Kind::kNone;
  int error = 0;             // errno of kUnanswered and kOffline
  const char* keyword = "";  // printer-state-reason of the last four kinds
  std::string sentence;
};

// The meaning of an errno of a printer, as a phrase in lower case.
[[nodiscard]] std::string problem_text(int error);

class PrinterSession {
 public:
  using Milliseconds = std::chrono::milliseconds;
  using Outcome = SheetOutcome::State;
  enum class Phase { kBeforeSheet, kInSheet, kAfterSheet };

  struct Setup {
    PrinterAddress address;
    bool check_media = true;  // wait if the sheet does not fit the loaded media
    // How long an idle printer whose life counter did not change is watched before an interrupted
    // sheet counts as lost.
    Milliseconds settle{5000};
  };
  struct Owner {
    // Shows the obstacle and waits for the time; returns false to stop waiting.
    std::function<bool(Phase, const Obstacle&, Milliseconds)> wait;
    std::function<void()> opened;   // after each opening of the printer
    std::function<void(int)> sent;  // 0 if the system accepted the complete sheet, or an errno
  };

  PrinterSession(Setup setup, Owner owner)
      : setup_(std::move(setup)), owner_(std::move(owner)), printer_(setup_.address) {}

  // Opens the printer if it is not open. False if the owner stopped waiting.
  [[nodiscard]] bool wait_until_connected(Phase phase);

  // The obstacle to a sheet for this media, and the counters if there is none. Does not wait.
  [[nodiscard]] Obstacle find_obstacle(const std::string& media, SheetCounters& counters);

  // Waits until there is no obstacle. False if the owner stopped waiting.
  [[nodiscard]] bool wait_until_ready(const std::string& media, SheetCounters& counters);

  // Sends a sheet and waits for its outcome; kUndecided if the owner stopped waiting.
  [[nodiscard]] Outcome send(const Pieces& sheet, const SheetCounters& before);

  // The outcome of a sheet that was sent to the printer with this identity. `interrupted`: it may
  // be incomplete.
  [[nodiscard]] Outcome find_outcome(const SheetCounters& before, const std::string& identity,
                                     bool interrupted);

  // The loaded media by the printer's name, "" if it does not answer or is not open.
  [[nodiscard]] std::string loaded_media();

  // The serial number, which identifies a printer; its address if it has none.
  [[nodiscard]] const std::string& identity() const { return identity_; }

  // The latest answers; without a status while the printer is offline.
  [[nodiscard]] PrinterReport& report() { return report_; }
  [[nodiscard]] Printer& printer() { return printer_; }

 private:
  [[nodiscard]] int connect();
  [[nodiscard]] bool read_identity();
  [[nodiscard]] Reply ask(QuestionId id);
  Reply ask_media();
  [[nodiscard]] Obstacle connection_obstacle(int error);
  [[nodiscard]] Obstacle status_obstacle(const Reply& status);

  Setup setup_;
  Owner owner_;
  Printer printer_;
  PrinterReport report_;
  std::string identity_;
  // Since it was opened; from then on only our sheets can increase the life counter.
  bool was_idle_ = false;
  int unanswered_ = 0;  // consecutive questions
};

}  // namespace k905
