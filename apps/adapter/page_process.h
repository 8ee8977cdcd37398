// Runs the page adapter as a process between the print system and the filter.
#pragma once

#include "apps/adapter/page_adapter.h"
#include "apps/base/spawn.h"

namespace k905 {

class PageProcess {
 public:
  // Starts it: it reads standard input, and its output becomes the new standard input. If no
  // process can be created, standard input stays unchanged and started() is false. The caller must
  // have blocked the signals that cancel a job and ignored SIGPIPE: the process ends with its
  // reader.
  explicit PageProcess(const AdapterSettings& settings);

  [[nodiscard]] bool started() const { return static_cast<bool>(process_); }

  // Ends it, when its pages are no longer read. False if it failed, so that pages are missing; this
  // is reported.
  [[nodiscard]] bool finish();

 private:
  Child process_;
};

}  // namespace k905
