// The destination of pages: through the filter to a file or device, or to a queue.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "apps/base/choices.h"
#include "apps/image/picture.h"
#include "apps/layout/sheet_place.h"
#include "apps/print/ledger.h"

namespace k905 {

// One job at a time: begin, pages, end. After a function has returned false, with the reason in
// `error`, or after abandon(), the job is over and was not accepted.
class Destination {
 public:
  Destination() = default;
  virtual ~Destination() = default;
  Destination(const Destination&) = delete;
  Destination& operator=(const Destination&) = delete;

  // All options with their effective choices: those of the user override the defaults.
  [[nodiscard]] virtual const Choices& choices() const = 0;

  // Queue or device, by its name in the ledger.
  [[nodiscard]] virtual SheetTarget target() const = 0;

  // Why nothing can be printed now, if the destination can be asked; otherwise empty.
  [[nodiscard]] virtual std::string obstacle() { return ""; }

  struct JobName {
    std::string title;
    // If not empty, a queue holds the job, marked with this text, until end(), so that a caller
    // that records each step knows after a crash how far the job is (queue_jobs.h).
    std::string ticket;
  };
  struct StartedJob {
    int number = 0;                  // of the job, if the destination numbers its jobs
    std::optional<FilePlace> place;  // in a regular file that is appended to
  };
  [[nodiscard]] virtual bool begin(const JobName& name, StartedJob& started,
                                   std::string& error) = 0;
  [[nodiscard]] virtual bool page(const Picture& page, std::string& error) = 0;
  // Sends the end of the job's data, so that a job that is held until end() is complete; without
  // this call end() does it.
  [[nodiscard]] virtual bool complete(std::string& /*error*/) { return true; }
  // True if the complete job was accepted. `place` then tells users where it is.
  [[nodiscard]] virtual bool end(std::string& place, std::string& error) = 0;
  virtual void abandon() = 0;

  // The printer of the last sheet of the last job; before its first sheet, the printer that begin()
  // found. Unknown if the destination does not ask the printer.
  [[nodiscard]] virtual KnownPrinter printer() const { return {}; }

  // After a failure: whether a part of the job may have been printed nevertheless.
  [[nodiscard]] virtual bool may_have_printed() const { return false; }
};

}  // namespace k905
