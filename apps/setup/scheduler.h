// Requests to the scheduler: queues, their jobs, connected devices, and making or changing a queue.
// A missing answer is thrown as std::runtime_error: unknown must not be read as "no job".
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
  bool printing = false;  // a job of its own or of a class
  bool accepting = false;
  bool shared = false;  // offered to other computers
};

struct QueueJob {
  int id = 0;
  ipp_jstate_t state = IPP_JSTATE_PENDING;
  std::string title;  // "" if this user may not see it; without control characters
};

// The changes to a queue. Empty fields change nothing.
struct QueueRequest {
  std::string queue;
  std::string device_uri{};  // "": unchanged
  std::string ppd{};         // the text of the file
  std::vector<std::pair<std::string, std::string>> attributes{};
  std::vector<std::string> removed_attributes{};
  bool start = false;  // accept and print jobs from now on
};

// The changes to a class: it then has exactly these members.
struct ClassRequest {
  std::string name;
  std::vector<std::string> members;
  std::vector<std::pair<std::string, std::string>> attributes{};
  bool start = false;  // accept and print jobs from now on
};

class Scheduler {
 public:
  // Whether a scheduler answers. Otherwise no other function may be called.
  [[nodiscard]] bool connect();

  [[nodiscard]] std::vector<std::string> queues();
  // Nothing if there is no queue and no class with this name.
  [[nodiscard]] std::optional<QueueState> queue(const std::string& name);
  // The jobs that have not ended, in printing order.
  [[nodiscard]] std::vector<QueueJob> jobs(const std::string& queue);
  // Adds the devices that are connected to the computer of the scheduler: of some schemes,
  // separated by commas, or (empty) of all. Returns why they cannot be listed, or nothing.
  [[nodiscard]] std::optional<std::string> list_devices(const std::string& schemes,
                                                        std::vector<ConnectedDevice>& devices);
  // Returns the error, or nothing. A job that is printing starts again from its first sheet.
  [[nodiscard]] std::optional<std::string> change(const QueueRequest& request);
  // Returns the error, or nothing. A job that is printing stays with its member.
  [[nodiscard]] std::optional<std::string> change_class(const ClassRequest& request);

  // Whether it offers shared queues to other computers; nothing when this user may not know.
  [[nodiscard]] std::optional<bool> is_sharing();
  // Makes it do so, as `cupsctl --share-printers` does, and waits until it has restarted. Returns
  // the error, or nothing. A job that is printing starts again from its first sheet.
  [[nodiscard]] std::optional<std::string> start_sharing();

  [[nodiscard]] http_t* http() const { return http_.get(); }

 private:
  [[nodiscard]] bool answers();

  Http http_;
};

}  // namespace k905
