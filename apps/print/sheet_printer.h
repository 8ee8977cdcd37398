// Prints sheets of the ledger so that the ledger knows at any moment what a destination may have. A
// program that is killed anywhere, also by SIGKILL, leaves a ledger from which settle() tells what
// was printed:
//
//   queue   every sheet once: a job is held until the ledger knows that all of it is there
//   file    every sheet once: what was written of an unfinished sheet is cut off
//   device  no sheet twice: a sheet that was being sent is in doubt, it is reported and not sent
//   again
#pragma once

#include <string>
#include <vector>

#include "apps/print/ledger.h"
#include "apps/print/print_job.h"

class SheetPrinter {
 public:
  struct Page {
    std::int64_t id = 0;  // of the sheet in the ledger
    std::string name;
    const Picture* page = nullptr;
  };

  // `pages_per_sheet` 2 where two photos share a sheet.
  SheetPrinter(const JobSetup& setup, Ledger& ledger, std::string folder, int pages_per_sheet,
               const k905::Reporter& reporter);

  // Settles what earlier jobs of the folder left unfinished. False when that cannot be known now:
  // nothing may be printed until it can.
  [[nodiscard]] bool settle();

  // Prints the pages as one job. True: it was taken, and `word` says where it is. After a false,
  // with the reason in `error`, the sheets wait again or are in doubt, or settle() has to be
  // called.
  [[nodiscard]] bool print(const std::vector<Page>& pages, std::string& word, std::string& error);

 private:
  [[nodiscard]] bool send(const std::string& ticket, const std::vector<Page>& pages,
                          std::string& word, std::string& error);
  void set_in_doubt(const std::vector<SheetEntry>& sheets);
  [[nodiscard]] bool settle_job(const std::vector<SheetEntry>& sheets);
  void note_failure(const std::string& ticket);

  const JobSetup& setup_;
  Ledger& ledger_;
  std::string folder_;
  int pages_per_sheet_;
  const k905::Reporter& reporter_;
  bool is_settled_ = false;
};

// What a print looks like, as it is kept in the ledger: "KEYWORD=CHOICE" words, then "fit",
// "no-turn", and in quotes "caption=TEXT", "frame=FILE" and "layout=NAME".
[[nodiscard]] std::string settings_text(const JobSetup& setup);
// Adds what the text says to the choices and to the setup where they say nothing.
void add_settings(const std::string& text, Choices& choices, JobSetup& setup);
