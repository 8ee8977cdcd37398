// The scheduler as k905-setup sees it: queues, their jobs, the connected devices, and the one
// request that makes or changes a queue. An answer that cannot be had is thrown as a
// std::runtime_error: what is not known about a queue must not be taken for "no job".
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "apps/base/cups_handles.h"
#include "apps/setup/device_address.h"

namespace k905 {

struct QueueState {
  std::string device_uri;
  std::string error_policy;
  std::string scaling;                      // the queue's print-scaling default
  std::string message{};                    // printer-state-message
  std::vector<std::string> reasons{};       // printer-state-reasons
  std::vector<std::string> job_defaults{};  // names of all attributes NAME-default
  std::vector<std::string> members{};       // of a class; empty for a queue
  bool stopped = false;
  bool printing = false;  // a job of its own, or of a class
  bool accepting = false;
  bool shared = false;  // offered to other computers
};

struct QueueJob {
  int id = 0;
  ipp_jstate_t state = IPP_JSTATE_PENDING;
  std::string title;  // "" when this user may not see it; without control characters
};

// What a request for a queue sets. Everything that is not named stays as it is.
struct QueueRequest {
  std::string queue;
  std::string device_uri{};  // "" leaves it
  std::string ppd;           // the text of the file
  std::vector<std::pair<std::string, std::string>> attributes{};
  std::vector<std::string> removed_attributes{};
  bool start = false;  // takes and prints jobs from now on
};

// What a request for a class sets: the class has exactly these members.
struct ClassRequest {
  std::string name;
  std::vector<std::string> members;
  std::vector<std::pair<std::string, std::string>> attributes{};
  bool start = false;  // takes and prints jobs from now on
};

class Scheduler {
 public:
  // Whether a scheduler answers. Nothing else may be called when none does.
  [[nodiscard]] bool connect();

  [[nodiscard]] std::vector<std::string> queues();
  // Nothing when there is no queue and no class of this name.
  [[nodiscard]] std::optional<QueueState> queue(const std::string& name);
  // Those that have not ended, in the order in which they will print.
  [[nodiscard]] std::vector<QueueJob> jobs(const std::string& queue);
  // Adds the devices connected to the scheduler's machine: of some schemes, separated by commas, or
  // (empty) of all. Returns why they cannot be listed, or nothing.
  [[nodiscard]] std::optional<std::string> list_devices(const std::string& schemes,
                                                        std::vector<ConnectedDevice>& devices);
  // What went wrong, or nothing. A job that is printing starts again from its first sheet.
  [[nodiscard]] std::optional<std::string> change(const QueueRequest& request);
  // What went wrong, or nothing. A job that is printing stays with its member.
  [[nodiscard]] std::optional<std::string> change_class(const ClassRequest& request);

  // Whether it offers shared queues to other computers; nothing when this user may not know.
  [[nodiscard]] std::optional<bool> is_sharing();
  // Makes it do so, as `cupsctl --share-printers` does, and waits until it has restarted. What went
  // wrong, or nothing. A job that is printing starts again from its first sheet.
  [[nodiscard]] std::optional<std::string> start_sharing();

  [[nodiscard]] http_t* http() const { return http_.get(); }

 private:
  [[nodiscard]] bool answers();

  Http http_;
};

}  // namespace k905
