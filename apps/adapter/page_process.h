// The page adapter as a process of its own between the print system and the filter.
#pragma once

#include "apps/adapter/page_adapter.h"
#include "apps/base/spawn.h"

namespace k905 {

class PageProcess {
 public:
  // Starts it: what comes at standard input is adapted, and standard input becomes the result. When
  // no process can be had, standard input stays as it is and started() is false. The signals that
  // cancel a job are to be blocked and SIGPIPE ignored: the process ends with its reader.
  explicit PageProcess(const AdapterSettings& settings);

  [[nodiscard]] bool started() const { return static_cast<bool>(process_); }

  // Ends it, once nobody reads its pages any more. False when it failed, so that pages are missing;
  // that is reported.
  [[nodiscard]] bool finish();

 private:
  Child process_;
};

}  // namespace k905
