// A question to the printer itself, without disturbing a job.
#pragma once

#include <string>

#include "device/printer_address.h"

namespace k905 {

enum class Answer {
  answers,      // its status is known
  silent,       // it can be reached, but does not answer
  in_use,       // a sheet is being sent
  not_asked,    // it can be reached; whether a sheet is being sent is not known to this user
  unreachable,  // see `error`
};

struct PrinterAnswer {
  Answer answer = Answer::unreachable;
  int error = 0;         // errno of opening it
  int status = -1;       // its status code
  int prints_left = -1;  // -1 when it did not say
};

// Opens the printer and asks it, unless the backend k905 is sending a sheet; a job that begins
// meanwhile waits for the end of the questions.
[[nodiscard]] PrinterAnswer ask_printer(const PrinterAddress& address);

// Opens the printer only. Returns 0 or an errno.
[[nodiscard]] int try_to_open(const PrinterAddress& address);

}  // namespace k905
