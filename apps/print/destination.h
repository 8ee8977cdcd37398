// Where pages go: through the filter to a file or device, or to a queue.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "apps/base/choices.h"
#include "apps/image/picture.h"
#include "apps/layout/sheet_place.h"
#include "apps/print/ledger.h"

// One job at a time: begin, pages, end. After a false, with the reason in `error`, the job is over
// and was not taken; so it is after abandon().
class Destination {
 public:
  Destination() = default;
  virtual ~Destination() = default;
  Destination(const Destination&) = delete;
  Destination& operator=(const Destination&) = delete;

  // All options with the choices that count here: what the user chose over what there is.
  [[nodiscard]] virtual const Choices& choices() const = 0;

  // Queue or device, as the ledger names it.
  [[nodiscard]] virtual SheetTarget target() const = 0;

  // Why nothing can be printed now, where the destination can be asked; "" otherwise.
  [[nodiscard]] virtual std::string obstacle() { return ""; }

  struct JobName {
    std::string title;
    // Not empty: a queue holds the job, marked with this, until end(), so that a caller which notes
    // each step knows after a crash what became of it (queue_jobs.h).
    std::string ticket;
  };
  struct Begun {
    int number = 0;                  // of the job, where the destination numbers its jobs
    std::optional<FilePlace> place;  // in a plain file that is appended to
  };
  [[nodiscard]] virtual bool begin(const JobName& name, Begun& begun, std::string& error) = 0;
  [[nodiscard]] virtual bool page(const Picture& page, std::string& error) = 0;
  // All pages were sent: the destination has them when this returns true. end() does it otherwise.
  [[nodiscard]] virtual bool complete(std::string& /*error*/) { return true; }
  // True: the job was taken, all of it. `word` then says in a few words where it is.
  [[nodiscard]] virtual bool end(std::string& word, std::string& error) = 0;
  virtual void abandon() = 0;

  // After a failure: whether a device has got all of the job nevertheless.
  [[nodiscard]] virtual bool may_have_printed() const { return false; }
};
