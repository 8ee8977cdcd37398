// The page adapter as a process of its own between the print system and the filter.
#pragma once

#include <sys/types.h>

#include "apps/adapter/page_adapter.h"

namespace k905 {

class PageProcess {
 public:
  // Starts it: what comes at standard input is adapted, and standard input becomes the result. When
  // no process can be had, standard input stays as it is and started() is false. Signals are to be
  // held back and SIGPIPE ignored (hold_signals): the process ends with its reader.
  explicit PageProcess(const AdapterSettings& settings);
  PageProcess(const PageProcess&) = delete;
  PageProcess& operator=(const PageProcess&) = delete;

  [[nodiscard]] bool started() const { return process_ > 0; }

  // Ends it, once nobody reads its pages any more. False when it failed, so that pages are missing;
  // that is reported.
  [[nodiscard]] bool finish();

 private:
  pid_t process_ = -1;
};

}  // namespace k905
