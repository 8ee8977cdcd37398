// Prints through CUPS: pages as a raster job that needs no filter but the queue's own, so that the
// sheet is the same as without a print system.
#pragma once

#include <memory>
#include <string>

#include "apps/print/destination.h"

// `queue` as lp takes it, "" for the user's default. `wishes` go over the queue's defaults. Null,
// with the reason in `error`, when there is no such queue, it is not one of this printer, or it
// does not offer a choice.
[[nodiscard]] std::unique_ptr<Destination> make_queue_destination(const std::string& queue,
                                                                  const Choices& wishes,
                                                                  std::string& error);

enum class JobFate {
  taken,
  not_taken,  // it was begun and never given its pages
  gone,       // there is no such job
  unknown     // the print system does not answer
};

// What became of a job that this program began with that title and cannot tell the end of.
[[nodiscard]] JobFate fate_of_job(int number, const std::string& title);

// Takes a job that never got its pages out of the print system.
void cancel_job(int number);
