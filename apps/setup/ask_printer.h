// Asks the printer for its status, without disturbing a job.
#pragma once

#include <string>

#include "device/printer_address.h"

namespace k905 {

enum class Answer {
  replied,      // its status is known
  no_reply,     // it can be reached, but does not answer
  in_use,       // a sheet is being sent
  not_asked,    // it can be reached; this user cannot see whether a sheet is being sent
  unreachable,  // see `error`
};

struct PrinterAnswer {
  Answer answer = Answer::unreachable;
  int error = 0;         // errno of opening it
  int status = -1;       // its status code
  int prints_left = -1;  // -1 if unknown
};

// Opens the printer and asks it, unless the backend k905 is sending a sheet; a job that begins
// meanwhile waits until this is done.
[[nodiscard]] PrinterAnswer ask_printer(const PrinterAddress& address);

// Opens the printer only. Returns 0 or an errno.
[[nodiscard]] int try_to_open(const PrinterAddress& address);

}  // namespace k905
