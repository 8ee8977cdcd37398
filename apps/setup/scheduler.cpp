#include "apps/setup/scheduler.h"

#include <cups/adminutil.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <string_view>
#include <tuple>

#include "apps/base/anonymous_file.h"
#include "apps/base/descriptor.h"

namespace k905 {

namespace {

constexpr int kConnectMs = 5000;
constexpr int kRestartMs = 30000;
constexpr int kHiddenRestartMs = 3000;  // wait this long if the socket does not show the restart
constexpr int kRetryMs = 100;

std::string uri_of(const char* folder, const std::string& name) {
  std::array<char, HTTP_MAX_URI> uri{};
  httpAssembleURIf(HTTP_URI_CODING_ALL, uri.data(), uri.size(), "ipp", nullptr, "localhost", 0,
                   "/%s/%s", folder, name.c_str());
  return uri.data();
}

// CUPS finds classes under "printers" too; only creating one requires "classes".
ipp_t* request_for(ipp_op_t operation, const std::string& name, const char* folder = "printers") {
  ipp_t* request = ippNewRequest(operation);
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_URI, "printer-uri", nullptr,
               uri_of(folder, name).c_str());
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_NAME, "requesting-user-name", nullptr,
               cupsUser());
  return request;
}

// Identifies the scheduler's socket in the file system. A restart of the scheduler replaces the
// socket, unless systemd opened it.
using SocketId = std::tuple<ino_t, time_t, long>;

SocketId socket_id() {
  struct stat status {};
  return stat(cupsServer(), &status) == 0
             ? SocketId(status.st_ino, status.st_ctim.tv_sec, status.st_ctim.tv_nsec)
             : SocketId();
}

bool has_failed() { return cupsLastError() > IPP_STATUS_OK_EVENTS_COMPLETE; }

bool is_refusal(ipp_status_t status) {
  return status == IPP_STATUS_ERROR_FORBIDDEN || status == IPP_STATUS_ERROR_NOT_AUTHENTICATED ||
         status == IPP_STATUS_ERROR_NOT_AUTHORIZED ||
         status == IPP_STATUS_ERROR_CUPS_AUTHENTICATION_CANCELED;
}

[[noreturn]] void throw_refused() {
  throw std::runtime_error(std::string("CUPS refused a request: ") + cupsLastErrorString());
}

// Takes ownership of the request. Null if its object does not exist.
Ipp ask(http_t* http, ipp_t* request) {
  Ipp answer(cupsDoRequest(http, request, "/"));
  if (cupsLastError() == IPP_STATUS_ERROR_NOT_FOUND) {
    return nullptr;
  }
  if (!answer || has_failed()) {
    throw_refused();
  }
  return answer;
}

// The jobs in a response. CUPS leaves out the title of a job whose policy hides it from this user;
// cupsGetJobs2() would return "untitled" for it, which can also be the title of a job.
std::vector<QueueJob> jobs_in(ipp_t* answer) {
  std::vector<QueueJob> jobs;
  for_each_group(
      answer, IPP_TAG_JOB, [&] { jobs.emplace_back(); },
      [&](ipp_attribute_t* attribute) {
        const std::string_view name = ippGetName(attribute);
        if (name == "job-id") {
          jobs.back().id = ippGetInteger(attribute, 0);
        } else if (name == "job-state") {
          jobs.back().state = static_cast<ipp_jstate_t>(ippGetInteger(attribute, 0));
        } else if (name == "job-name") {
          const char* title = ippGetString(attribute, 0, nullptr);
          jobs.back().title = title == nullptr ? "" : title;
        }
      });
  return jobs;
}

// Never asks for a password: a user without permission gets an error that says to run as root.
const char* no_password(const char*, http_t*, const char*, const char*, void*) { return nullptr; }

void add_device(const char* device_class, const char* device_id, const char*, const char*,
                const char* uri, const char*, void* list) {
  // A backend without a device lists only its scheme.
  if (std::string_view(device_class) == "direct" &&
      std::string_view(uri).find(':') != std::string_view::npos) {
    static_cast<std::vector<ConnectedDevice>*>(list)->push_back(
        {uri, device_id == nullptr ? "" : device_id});
  }
}

// Throws if the last request, a change, was refused.
void require_success(const std::string& what) {
  if (is_refusal(cupsLastError())) {
    throw std::runtime_error("k905-setup must be run as root to make or change a queue: use sudo");
  }
  if (has_failed()) {
    throw std::runtime_error("CUPS refused the " + what + ": " + cupsLastErrorString());
  }
}

}  // namespace

bool Scheduler::connect() {
  cupsSetPasswordCB2(no_password, nullptr);
  http_ = connect_to_scheduler(kConnectMs);
  return http_ != nullptr;
}

std::vector<Queue> Scheduler::queues() {
  std::vector<Queue> queues = queues_in(ask(http(), ippNewRequest(IPP_OP_CUPS_GET_PRINTERS)).get());
  std::erase_if(queues, [](const Queue& queue) { return !queue.members.empty(); });
  return queues;
}

std::optional<Queue> Scheduler::queue(const std::string& name) {
  const Ipp answer = ask(http(), request_for(IPP_OP_GET_PRINTER_ATTRIBUTES, name));
  if (!answer) {
    return std::nullopt;
  }
  const std::vector<Queue> queues = queues_in(answer.get());
  if (queues.empty()) {
    throw std::runtime_error("the scheduler returned no attributes of " + name);
  }
  return queues.front();
}

std::vector<QueueJob> Scheduler::jobs(const std::string& queue) {
  constexpr auto kWanted = std::to_array<const char*>({"job-id", "job-state", "job-name"});
  ipp_t* request = request_for(IPP_OP_GET_JOBS, queue);
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "which-jobs", nullptr, "not-completed");
  ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes",
                static_cast<int>(kWanted.size()), nullptr, kWanted.data());
  const Ipp answer = ask(http(), request);
  return jobs_in(answer.get());
}

std::optional<std::string> Scheduler::list_devices(const std::string& schemes,
                                                   std::vector<ConnectedDevice>& devices) {
  const ipp_status_t status = cupsGetDevices(http(), CUPS_TIMEOUT_DEFAULT,
                                             schemes.empty() ? CUPS_INCLUDE_ALL : schemes.c_str(),
                                             CUPS_EXCLUDE_NONE, add_device, &devices);
  if (is_refusal(status)) {
    return "no devices visible; run as root to list all devices";
  }
  // If there is no device, CUPS answers "not found".
  if (status > IPP_STATUS_OK_EVENTS_COMPLETE && status != IPP_STATUS_ERROR_NOT_FOUND) {
    return std::string("CUPS cannot list the devices: ") + cupsLastErrorString();
  }
  return std::nullopt;
}

void Scheduler::change(const QueueChange& change) {
  const Descriptor ppd(change.ppd.empty() ? -1 : anonymous_file_with("queue.ppd", change.ppd));
  if (!ppd && !change.ppd.empty()) {
    throw std::runtime_error("no memory for the PPD file");
  }
  const bool is_class = !change.members.empty();
  ipp_t* request = is_class ? request_for(IPP_OP_CUPS_ADD_MODIFY_CLASS, change.name, "classes")
                            : request_for(IPP_OP_CUPS_ADD_MODIFY_PRINTER, change.name);
  if (is_class) {
    const int count = static_cast<int>(change.members.size());
    ipp_attribute_t* uris = ippAddStrings(request, IPP_TAG_PRINTER, IPP_TAG_URI, "member-uris",
                                          count, nullptr, nullptr);
    for (int i = 0; i < count; ++i) {
      ippSetString(request, &uris, i, uri_of("printers", change.members.at(i)).c_str());
    }
  }
  if (!change.device_uri.empty()) {
    ippAddString(request, IPP_TAG_PRINTER, IPP_TAG_URI, "device-uri", nullptr,
                 change.device_uri.c_str());
  }
  if (change.start) {
    ippAddInteger(request, IPP_TAG_PRINTER, IPP_TAG_ENUM, "printer-state", IPP_PSTATE_IDLE);
    ippAddBoolean(request, IPP_TAG_PRINTER, "printer-is-accepting-jobs", 1);
  }
  for (const std::string& name : change.removed_attributes) {
    ippAddInteger(request, IPP_TAG_PRINTER, IPP_TAG_DELETEATTR, name.c_str(), 0);
  }
  CupsOptions options;
  for (const auto& [name, value] : change.attributes) {
    options.add(name, value);
  }
  cupsEncodeOptions2(request, options.count(), options.all(), IPP_TAG_PRINTER);
  ippDelete(cupsDoIORequest(http(), request, "/admin/", ppd.get(), -1));
  require_success((is_class ? "class " : "queue ") + change.name);
}

std::optional<bool> Scheduler::is_sharing() {
  CupsOptions settings;
  if (!settings.read([&](int* count, cups_option_t** all) {
        return cupsAdminGetServerSettings(http(), count, all) != 0;
      })) {
    return std::nullopt;
  }
  return settings.value(CUPS_SERVER_SHARE_PRINTERS) == "1";
}

bool Scheduler::answers() {
  return connect() &&
         Ipp(cupsDoRequest(http(), ippNewRequest(IPP_OP_CUPS_GET_DEFAULT), "/")) != nullptr;
}

void Scheduler::start_sharing() {
  CupsOptions settings;
  settings.add(CUPS_SERVER_SHARE_PRINTERS, "1");
  const SocketId before = socket_id();
  if (cupsAdminSetServerSettings(http(), settings.count(), settings.all()) == 0) {
    require_success("change of its settings");
    throw std::runtime_error("the settings of the scheduler cannot be changed");
  }
  http_.reset();
  // The scheduler answers first and restarts afterwards.
  for (int waited_ms = 0; waited_ms < kRestartMs; waited_ms += kRetryMs) {
    usleep(kRetryMs * 1000);
    const SocketId now = socket_id();
    const bool is_replaced = now != SocketId() && now != before;
    if ((is_replaced || waited_ms >= kHiddenRestartMs) && answers()) {
      return;
    }
  }
  throw std::runtime_error("the scheduler does not answer after the change of its settings");
}

}  // namespace k905
