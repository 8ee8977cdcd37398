#include "apps/adapter/loaded_ribbon.h"

#include <cups/sidechannel.h>
#include <sys/stat.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <string_view>
#include <thread>

#include "apps/base/media_question.h"
#include "filter/cancel_signals.h"

namespace k905 {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPause{1};

// Another backend would ask its printer over the network, or not at all.
bool is_backend_k905() {
  const char* const device = std::getenv("DEVICE_URI");
  struct stat status {};
  return device != nullptr && std::string_view(device).starts_with("k905:") &&
         fstat(kSideChannel, &status) == 0 && S_ISSOCK(status.st_mode);
}

bool is_canceled() {
  sigset_t pending;
  sigpending(&pending);
  return std::ranges::any_of(kCancelSignals,
                             [&](int number) { return sigismember(&pending, number) == 1; });
}

}  // namespace

std::string loaded_ribbon(std::chrono::seconds limit) {
  Clock::time_point answered = Clock::now();
  while (is_backend_k905() && !is_canceled() && Clock::now() - answered < limit) {
    char media[256] = "";
    int size = sizeof media;
    const cups_sc_status_t status =
        cupsSideChannelSNMPGet(kMediaNameOid, media, &size, double{kPause.count()});
    if (status == CUPS_SC_STATUS_OK) {
      const std::string name(media, static_cast<std::size_t>(size));
      return name == "6x4" || name == "6x8" ? name : "";
    }
    if (status == CUPS_SC_STATUS_IO_ERROR) {  // the printer cannot be asked now
      answered = Clock::now();
      std::this_thread::sleep_for(kPause);
    } else if (status != CUPS_SC_STATUS_TIMEOUT) {
      return "";
    }
  }
  return "";
}

}  // namespace k905
