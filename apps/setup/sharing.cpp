#include "apps/setup/sharing.h"

#include <unistd.h>

#include <array>
#include <stdexcept>

#include "apps/base/text.h"

namespace k905 {

namespace {

bool is_avahi_running() { return access("/run/avahi-daemon/socket", F_OK) == 0; }

// The URI for other computers: Avahi announces the name of this one with the ending ".local".
std::string shared_uri(const std::string& queue, const Queue& state) {
  std::array<char, 256> name{};
  gethostname(name.data(), name.size() - 1);
  std::string host = name.data();
  if (is_avahi_running() && host.find('.') == std::string::npos) {
    host += ".local";
  }
  std::array<char, HTTP_MAX_URI> uri{};
  const int port = ippPort() == IPP_PORT ? 0 : ippPort();
  httpAssembleURIf(HTTP_URI_CODING_ALL, uri.data(), uri.size(), "ipp", nullptr, host.c_str(), port,
                   "/%s/%s", state.members.empty() ? "printers" : "classes", queue.c_str());
  return uri.data();
}

void report_how_to_add(const std::string& queue, const Queue& state, Findings& findings) {
  const std::string uri = shared_uri(queue, state);
  if (is_avahi_running()) {
    findings.ok("the queue is shared; phones and tablets list it as \"" + queue +
                "\": AirPrint on iPhone and iPad, Mopria or the default print service on Android");
  } else {
    findings.note(
        "the queue is shared, but Avahi is not running, so phones and tablets (AirPrint, Mopria) "
        "cannot find it",
        "apt-get install avahi-daemon");
  }
  findings.ok("other systems add the shared queue by its address " + uri);
}

}  // namespace

void apply_sharing(Scheduler& scheduler, Share share, const std::string& name, Findings& findings) {
  if (!share.value_or(false) || scheduler.is_sharing().value_or(false)) {
    return;
  }
  std::string offered = name;
  for (const Queue& queue : scheduler.queues()) {
    if (queue.printing) {
      throw std::runtime_error(
          "a job is printing on " + queue.name +
          ", and sharing restarts the scheduler, which would start the job again from its first "
          "sheet; wait until it has ended");
    }
    if (queue.shared && queue.name != name) {
      append_to_list(offered, queue.name);
    }
  }
  scheduler.start_sharing();
  findings.note("the scheduler now serves the local networks on port " + std::to_string(ippPort()) +
                " and offers " + offered);
}

void check_sharing(Scheduler& scheduler, const std::string& queue, const Queue& state,
                   Findings& findings) {
  const std::optional<bool> is_sharing = scheduler.is_sharing();
  if (!state.shared) {
    findings.ok("the queue is not shared with other computers");
  } else if (!is_sharing) {
    findings.ok(
        "the queue is marked as shared; run as root to check whether the scheduler shares its "
        "queues");
  } else if (!*is_sharing) {
    findings.ok("the queue is not shared with other computers: the scheduler shares no queue");
  } else {
    report_how_to_add(queue, state, findings);
  }
}

}  // namespace k905
