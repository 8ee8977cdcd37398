// A printer for the time of a job: opened again after it was lost, asked before and after each
// sheet. The backend and k905-print print with it.
//
// They differ in what they show and in how long they wait. So every wait is the owner's.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "device/printer.h"
#include "device/printer_report.h"
#include "device/sheet_outcome.h"

namespace k905 {

// Why the printer is waited for.
struct Obstacle {
  enum class Kind {
    kNone,        // nothing is wrong: it prints the sheet
    kBusy,        // it prints another sheet, or has no free buffer
    kUnanswered,  // one question; the next may be answered
    kOffline,     // not connected, or no answers
    kStalled,     // it takes no data inside a sheet
    kStatus,      // its status code needs attention
    kMedia,       // other media is loaded than the sheet needs
  };
  Kind kind = Kind::kNone;
  int error = 0;             // errno of kUnanswered and kOffline
  const char* keyword = "";  // printer-state-reason of the last four kinds
  std::string sentence;
};

// What an errno of a printer means, as a sentence without its capital.
[[nodiscard]] std::string problem_text(int error);

class PrinterSession {
 public:
  using Milliseconds = std::chrono::milliseconds;
  using Outcome = SheetOutcome::State;
  enum class Phase { kBeforeSheet, kInSheet, kAfterSheet };

  struct Setup {
    PrinterAddress address;
    bool check_media = true;  // wait when the loaded media does not take a sheet
    // How long an idle printer whose life counter did not move is watched before an interrupted
    // sheet counts as lost.
    Milliseconds settle{5000};
  };
  struct Owner {
    // Shows the obstacle, waits for the time, and returns false to give up.
    std::function<bool(Phase, const Obstacle&, Milliseconds)> wait;
    std::function<void()> opened;   // each time the printer was opened
    std::function<void(int)> sent;  // 0 when the system has taken the whole sheet, or an errno
  };

  PrinterSession(Setup setup, Owner owner)
      : setup_(std::move(setup)), owner_(std::move(owner)), printer_(setup_.address) {}

  // Opens the printer if it is not open. False when given up.
  [[nodiscard]] bool wait_until_connected(Phase phase);

  // What keeps it from taking a sheet that needs this media, and its counters if nothing does. Does
  // not wait.
  [[nodiscard]] Obstacle find_obstacle(const std::string& media, SheetCounters& counters);

  // Waits until there is no obstacle. False when given up.
  [[nodiscard]] bool wait_until_ready(const std::string& media, SheetCounters& counters);

  // Sends a sheet and waits until its outcome is known; kOpen when given up.
  [[nodiscard]] Outcome send(const Pieces& sheet, const SheetCounters& before);

  // The outcome of a sheet that was sent to the printer of this identity. `interrupted`: it may not
  // have arrived complete.
  [[nodiscard]] Outcome find_outcome(const SheetCounters& before, const std::string& identity,
                                     bool interrupted);

  // The loaded media as the printer names it, "" when it does not answer or is not open.
  [[nodiscard]] std::string loaded_media();

  // The serial number, which tells printers apart; the address of one that has none.
  [[nodiscard]] const std::string& identity() const { return identity_; }

  // What it last answered; no status while it is offline.
  [[nodiscard]] PrinterReport& seen() { return seen_; }
  [[nodiscard]] Printer& printer() { return printer_; }

 private:
  [[nodiscard]] int connect();
  [[nodiscard]] bool read_identity();
  [[nodiscard]] Reply ask(QuestionId id);
  [[nodiscard]] Obstacle lost(int error);
  [[nodiscard]] Obstacle status_obstacle(const Reply& status);

  Setup setup_;
  Owner owner_;
  Printer printer_;
  PrinterReport seen_;
  std::string identity_;
  bool was_idle_ = false;  // since it was opened: no sheet but ours can move the life counter
  int unanswered_ = 0;     // questions in a row
};

}  // namespace k905
