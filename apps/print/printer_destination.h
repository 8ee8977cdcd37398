// Prints on a printer without a print system: pages pass through the filter, and its sheets go to
// the printer. No sheet is sent before the printer can accept it, and none counts as printed before
// the life counter shows it.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "apps/print/filter_destination.h"
#include "device/printer_session.h"

namespace k905 {

struct PrinterSetup {
  PrinterSession::Setup printer;
  std::string name;    // in messages
  std::string target;  // in the ledger, whose reader may be in another folder
  // The longest wait before a sheet, and after it was sent; nothing: no limit. stop_requested()
  // ends all waits.
  std::optional<std::chrono::seconds> before_sheet;
  std::optional<std::chrono::seconds> after_sheet;
  // Whether a printer that is not connected when a job begins is an error; otherwise the program
  // waits for it.
  bool must_be_connected = true;
  std::function<void(const std::string&)> print_message;  // reason for waiting
};

// Parses `to` as the address of a printer: a device file, or a device URI as for the backend
// (k905://usb/SERIAL, k905://HOST:PORT, k905:/dev/usb/lp0, with ?settle=SECONDS and
// ?check-media=no). Nothing for a file, a pipe, the standard streams and devices such as /dev/null.
// False with `error` for a URI of another form.
[[nodiscard]] bool printer_named(const std::string& to, std::optional<PrinterSetup>& setup,
                                 std::string& error);

[[nodiscard]] std::unique_ptr<Destination> make_printer_destination(FilterDestinationSetup filter,
                                                                    PrinterSetup printer);

}  // namespace k905
