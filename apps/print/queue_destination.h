// Prints through CUPS: pages as a raster job that needs no filter but the queue's own, so that the
// sheet is the same as without a print system.
#pragma once

#include <memory>
#include <string>

#include "apps/print/destination.h"

// `queue` as lp takes it, "" for the user's default. `choices` go over the queue's defaults. Null,
// with the reason in `error`, when there is no such queue, it is not one of this printer, or it
// does not offer a choice.
[[nodiscard]] std::unique_ptr<Destination> make_queue_destination(const std::string& queue,
                                                                  const Choices& choices,
                                                                  std::string& error);
