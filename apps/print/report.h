// The outcome of a photo, for users and programs.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "apps/print/ledger.h"

namespace k905 {

// Outcomes in addition to those of the ledger.
inline constexpr char kSent[] = "sent";        // a queue has the complete job
inline constexpr char kFailed[] = "failed";    // not printed
inline constexpr char kShown[] = "shown";      // in a preview
inline constexpr char kStopped[] = "stopped";  // not printed, because the program was asked to stop

struct PhotoReport {
  std::string file;
  std::string outcome;
  SheetTarget target;
  KnownPrinter printer;
  int job = 0;          // number in the queue; 0: none
  int sheet = 0;        // in its job, from 1: the first with this photo; 0: none
  std::int64_t id = 0;  // of the sheet in the ledger; 0: none
  std::string place;    // where the photo is now, as text
  std::string preview;  // file
  std::string reason;   // why it was not printed
};

// Receives the outcomes of photos and messages to the user.
struct Reporter {
  std::function<void(const PhotoReport&)> report;
  std::function<void(const std::string& message)> report_error;
};

[[nodiscard]] PhotoReport report_of(std::string file, std::string outcome,
                                    const SheetTarget& target, std::string reason = "");
// The sheet as a report about its photo.
[[nodiscard]] PhotoReport report_of(const SheetEntry& sheet);

// One line for users; "" if there is nothing to add to the errors that were reported.
[[nodiscard]] std::string text_line(const PhotoReport& photo);

// The same for programs: a JSON object, see docs/integration.md.
[[nodiscard]] std::string json_line(const PhotoReport& photo);
[[nodiscard]] std::string json_line(const SheetEntry& sheet);

}  // namespace k905
