// Requests to the scheduler: queues, their jobs, connected devices, and making or changing a queue.
// A request that fails throws std::runtime_error, so that it is not taken for an empty answer such
// as "no job".
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/base/choices.h"
#include "apps/base/cups_handles.h"
#include "apps/setup/device_address.h"
#include "apps/setup/findings.h"
#include "apps/status/print_system.h"

namespace k905 {

struct QueueJob {
  int id = 0;
  ipp_jstate_t state = IPP_JSTATE_PENDING;
  std::string title;  // "" if this user may not see it
};

// The changes to a queue or class. Empty fields change nothing.
struct QueueChange {
  std::string name;
  std::vector<std::string> members{};  // of a class: exactly these; empty for a queue
  std::string device_uri{};
  std::string ppd{};  // the text of the file
  Choices attributes{};
  std::vector<std::string> removed_attributes{};
  bool start = false;  // accept and print jobs from now on
  Findings notes{};    // for the user, about this change
};

class Scheduler {
 public:
  // Whether a scheduler answers. Otherwise no other function may be called.
  [[nodiscard]] bool connect();

  // All queues, without classes.
  [[nodiscard]] std::vector<Queue> queues();
  // Nothing if there is no queue and no class with this name.
  [[nodiscard]] std::optional<Queue> queue(const std::string& name);
  // The jobs that have not ended, in the order of CUPS; none if the queue does not exist.
  [[nodiscard]] std::vector<QueueJob> jobs(const std::string& queue);
  // Adds the devices that are connected to the computer of the scheduler: of some schemes,
  // separated by commas, or (empty) of all. Returns why they cannot be listed, or nothing.
  [[nodiscard]] std::optional<std::string> list_devices(const std::string& schemes,
                                                        std::vector<ConnectedDevice>& devices);
  // A job that is printing on a queue starts again from its first sheet; one that was sent to a
  // class stays with its member.
  void change(const QueueChange& change);

  // Whether the scheduler offers shared queues to other computers; nothing if this user may not
  // read its settings.
  [[nodiscard]] std::optional<bool> is_sharing();
  // Makes the scheduler offer them, as `cupsctl --share-printers` does, and waits until it has
  // restarted. A job that is printing starts again from its first sheet.
  void start_sharing();

  [[nodiscard]] http_t* http() const { return http_.get(); }

 private:
  [[nodiscard]] bool answers();

  Http http_;
};

}  // namespace k905
