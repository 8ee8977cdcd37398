// A queue's PPD file, downloaded from the scheduler, which sends it to every user.
#pragma once

#include <cups/cups.h>
#include <cups/ppd.h>

#include <memory>
#include <string>

namespace k905 {

struct PpdCloser {
  void operator()(ppd_file_t* ppd) const { ppdClose(ppd); }
};
using Ppd = std::unique_ptr<ppd_file_t, PpdCloser>;

// Gets and parses the file of the queue over this connection; null if the queue or the file is
// missing or the file cannot be parsed. `text`, if not null, receives the bytes of the file.
[[nodiscard]] Ppd read_queue_ppd(http_t* http, const char* queue, std::string* text = nullptr);

// The marked choice of an option; "" if none is marked. If a page region is marked instead of a
// page size, it is the choice of PageSize.
[[nodiscard]] std::string marked_choice(ppd_file_t& ppd, const std::string& keyword);

// The default in the file, whether or not it is one of the choices.
[[nodiscard]] std::string default_choice(ppd_file_t& ppd, const std::string& keyword);

// Marks the choice of StpLaminate for a job with these options, which must be marked already.
// Driverless clients choose the finish by the media type, and so does a queue with a default
// MediaType; the job option StpLaminate has priority over both.
void mark_finish(ppd_file_t& ppd, int count, cups_option_t* options);

}  // namespace k905
