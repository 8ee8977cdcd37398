// Sends sheets to a printer: no sheet is sent before the printer can accept it, and none counts as
// printed before the life counter shows it.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "apps/print/ledger.h"
#include "apps/wire/printer_stream.h"
#include "device/printer_session.h"

namespace k905 {

struct PrinterOutputSetup {
  PrinterSession::Setup printer;
  std::string name;    // in messages
  std::string target;  // in the ledger, whose reader may be in another folder
  // The longest wait before a sheet, and after it was sent; nothing: no limit.
  std::optional<std::chrono::seconds> before_sheet;
  std::optional<std::chrono::seconds> after_sheet;
  // A printer that is not connected is an error at the first sheet.
  bool must_be_connected = true;
  std::function<void(const std::string&)> print_message;  // reason for waiting
  std::function<bool()> is_stopped;                       // true ends all waits
};

// Parses `to` as the address of a printer: a device file, or a device URI as for the backend
// (k905://usb/SERIAL, k905://HOST:PORT, k905:/dev/usb/lp0, with ?settle=SECONDS and
// ?check-media=no). Nothing for a file, a pipe, the standard streams and devices such as /dev/null.
// False with `error` for a URI of another form.
[[nodiscard]] bool printer_named(const std::string& to, std::optional<PrinterOutputSetup>& setup,
                                 std::string& error);

class PrinterOutput {
 public:
  explicit PrinterOutput(PrinterOutputSetup setup);

  // The obstacle to a sheet for this media; "" if there is none. Does not wait, and leaves the
  // printer closed.
  [[nodiscard]] std::string obstacle_now(const std::string& media);

  // Opens the printer and waits until it can take a sheet. False with the reason in `error`.
  [[nodiscard]] bool begin(const std::string& media, std::string& error);

  // Prints one sheet. False with the reason in `error` if it was not printed, or may not have been:
  // is_in_doubt().
  [[nodiscard]] bool print(const Sheet& sheet, std::string& error);

  void close() { session_.printer().close(); }

  [[nodiscard]] int printed() const { return printed_; }  // sheets since begin()
  // The printer of the last sheet; before the first one, the printer that begin() found.
  [[nodiscard]] const KnownPrinter& printer() const { return printer_; }
  [[nodiscard]] bool is_in_doubt() const { return is_in_doubt_; }
  [[nodiscard]] int prints_left() const { return prints_left_; }  // -1: not known

 private:
  using Clock = std::chrono::steady_clock;
  using Outcome = PrinterSession::Outcome;
  using Phase = PrinterSession::Phase;

  [[nodiscard]] bool wait(Phase phase, const Obstacle& obstacle, std::chrono::milliseconds time);
  [[nodiscard]] bool wait_before_sheet(const Obstacle& obstacle, std::chrono::milliseconds time);
  [[nodiscard]] bool wait_until_ready(const std::string& media, SheetCounters& counters,
                                      std::string& error);
  void show(const std::string& reason);
  void pause(std::chrono::milliseconds time) const;

  PrinterOutputSetup setup_;
  PrinterSession session_;
  Clock::time_point start_;                   // of the wait before or after a sheet
  std::optional<Clock::time_point> stopped_;  // first seen inside a sheet
  std::string problem_;                       // the last reason for waiting
  std::string shown_;                         // reason
  bool was_connected_ = false;                // since begin()
  int printed_ = 0;
  KnownPrinter printer_;
  bool is_in_doubt_ = false;
  int prints_left_ = -1;
};

}  // namespace k905
