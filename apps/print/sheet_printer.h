// Prints sheets of the ledger so that the ledger always shows what a destination may have received.
// After the program was killed at any point, also by SIGKILL, resolve_unfinished() determines from
// the ledger what was printed:
//
//   queue   every sheet once: a job is held until the ledger knows that it is complete
//   file    every sheet once: the data of an unfinished sheet is truncated
//   device  no sheet twice: a sheet that was being sent is in doubt; it is reported and not sent
//           again
#pragma once

#include <string>
#include <vector>

#include "apps/print/ledger.h"
#include "apps/print/print_job.h"

namespace k905 {

class SheetPrinter {
 public:
  struct Page {
    std::int64_t id = 0;  // of the sheet in the ledger
    std::string name;
    const Picture* page = nullptr;
  };

  SheetPrinter(const JobSetup& setup, Ledger& ledger, std::string folder, SheetLimit limit,
               const Reporter& reporter);

  // Determines the state of the unfinished jobs of the folder. False if that is not possible now;
  // nothing may be printed until it is.
  [[nodiscard]] bool resolve_unfinished();

  // False, with the reason in `error`, if the limit is reached.
  [[nodiscard]] bool is_within_limit(std::string& error) const;

  // Prints the pages as one job, and removes those that exceed the limit. True if it was accepted;
  // `place` is then its destination. On false, with the reason in `error`, the sheets are waiting
  // again, or are in doubt, or resolve_unfinished() must be called.
  [[nodiscard]] bool print(std::vector<Page>& pages, std::string& place, std::string& error);

 private:
  // The number of sheets that may still be printed.
  [[nodiscard]] std::size_t sheets_left() const;
  [[nodiscard]] bool send(const std::string& ticket, const std::vector<Page>& pages,
                          std::string& place, std::string& error);
  void set_in_doubt(const std::vector<SheetEntry>& sheets);
  [[nodiscard]] bool resolve_job(const std::vector<SheetEntry>& sheets);
  void record_failure(const std::string& ticket);

  const JobSetup& setup_;
  Ledger& ledger_;
  std::string folder_;
  SheetLimit limit_;
  const Reporter& reporter_;
  bool is_resolved_ = false;
};

// The settings of a print as the ledger stores them: "KEYWORD=CHOICE" words, then "fit" and
// "no-turn".
[[nodiscard]] std::string settings_text(const JobSetup& setup);
// Adds the settings in the text to `choices`, except those that are set there and, if the paper is
// set there, the cut and the layout.
void add_settings(const std::string& text, Choices& choices, JobSetup& setup);

}  // namespace k905
