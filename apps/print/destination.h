// Where pages go: through the filter to a file or device, or to a queue.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "apps/image/picture.h"
#include "apps/layout/sheet_place.h"
#include "apps/base/choices.h"

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

  // `number` is the job's number where the destination gives its jobs numbers, and 0 elsewhere.
  struct Begun {
    int number = 0;
  };
  [[nodiscard]] virtual bool begin(const std::string& title, Begun& begun, std::string& error) = 0;
  [[nodiscard]] virtual bool page(const Picture& page, std::string& error) = 0;
  // True: the job was taken, all of it. `word` then says in a few words where it is.
  [[nodiscard]] virtual bool end(std::string& word, std::string& error) = 0;
  virtual void abandon() = 0;
};
