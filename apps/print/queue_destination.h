// Prints through CUPS: the pages are a raster job that passes only through the filter of the queue,
// so that the sheet is the same as without a print system.
#pragma once

#include <memory>
#include <string>

#include "apps/print/destination.h"

namespace k905 {

// `queue` as for lp, "" for the user's default. `choices` override the queue's defaults. Null, with
// the reason in `error`, if the queue does not exist, is not for this printer, or does not offer a
// choice.
[[nodiscard]] std::unique_ptr<Destination> make_queue_destination(const std::string& queue,
                                                                  const Choices& choices,
                                                                  std::string& error);

}  // namespace k905
