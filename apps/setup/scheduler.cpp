#include "apps/setup/scheduler.h"

#include <cups/adminutil.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

#include "apps/base/anonymous_file.h"

namespace k905 {

namespace {

constexpr int kConnectMs = 5000;
constexpr int kRestartMs = 30000;
constexpr int kHiddenRestartMs = 3000;  // when nothing shows it
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

std::string text_of(ipp_attribute_t* attribute) {
  const char* text = attribute == nullptr ? nullptr : ippGetString(attribute, 0, nullptr);
  return text == nullptr ? "" : text;
}

std::string text_of(ipp_t* answer, const char* name) {
  return text_of(ippFindAttribute(answer, name, IPP_TAG_ZERO));
}

std::vector<std::string> texts_of(ipp_attribute_t* attribute) {
  std::vector<std::string> texts;
  texts.reserve(static_cast<std::size_t>(ippGetCount(attribute)));
  for (int i = 0; i < ippGetCount(attribute); ++i) {
    texts.emplace_back(ippGetString(attribute, i, nullptr));
  }
  return texts;
}

int number_of(ipp_t* answer, const char* name) {
  ipp_attribute_t* attribute = ippFindAttribute(answer, name, IPP_TAG_ENUM);
  return attribute == nullptr ? 0 : ippGetInteger(attribute, 0);
}

// The scheduler's socket in the file system, which a restart replaces. One that systemd opened for
// the scheduler stays.
class SocketState {
 public:
  SocketState() : before_(now()) {}
  [[nodiscard]] bool has_changed() const {
    const struct stat after = now();
    return after.st_ino != 0 &&
           (after.st_ino != before_.st_ino || after.st_ctim.tv_sec != before_.st_ctim.tv_sec ||
            after.st_ctim.tv_nsec != before_.st_ctim.tv_nsec);
  }

 private:
  static struct stat now() {
    struct stat status {};
    if (stat(cupsServer(), &status) != 0) {
      status = {};
    }
    return status;
  }
  struct stat before_;
};

bool has_failed() { return cupsLastError() > IPP_STATUS_OK_EVENTS_COMPLETE; }

bool is_refusal(ipp_status_t status) {
  return status == IPP_STATUS_ERROR_FORBIDDEN || status == IPP_STATUS_ERROR_NOT_AUTHENTICATED ||
         status == IPP_STATUS_ERROR_NOT_AUTHORIZED ||
         status == IPP_STATUS_ERROR_CUPS_AUTHENTICATION_CANCELED;
}

// Takes ownership of the request. Null if its object does not exist.
Ipp ask(http_t* http, ipp_t* request) {
  Ipp answer(cupsDoRequest(http, request, "/"));
  if (cupsLastError() == IPP_STATUS_ERROR_NOT_FOUND) {
    return nullptr;
  }
  if (!answer || has_failed()) {
    throw std::runtime_error(std::string("CUPS refused a request: ") + cupsLastErrorString());
  }
  return answer;
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

void add_attributes(ipp_t* request,
                    const std::vector<std::pair<std::string, std::string>>& attributes) {
  CupsOptions options;
  for (const auto& [name, value] : attributes) {
    options.add(name, value);
  }
  cupsEncodeOptions2(request, options.count(), options.all(), IPP_TAG_PRINTER);
}

void add_start(ipp_t* request) {
  ippAddInteger(request, IPP_TAG_PRINTER, IPP_TAG_ENUM, "printer-state", IPP_PSTATE_IDLE);
  ippAddBoolean(request, IPP_TAG_PRINTER, "printer-is-accepting-jobs", 1);
}

void add_changes(ipp_t* request, const QueueRequest& changes) {
  if (!changes.device_uri.empty()) {
    ippAddString(request, IPP_TAG_PRINTER, IPP_TAG_URI, "device-uri", nullptr,
                 changes.device_uri.c_str());
  }
  if (changes.start) {
    add_start(request);
  }
  for (const std::string& name : changes.removed_attributes) {
    ippAddInteger(request, IPP_TAG_PRINTER, IPP_TAG_DELETEATTR, name.c_str(), 0);
  }
  add_attributes(request, changes.attributes);
}

// The error of the last change.
std::optional<std::string> refusal_reason(const std::string& what) {
  if (is_refusal(cupsLastError())) {
    return "k905-setup must be run as root to make or change a queue: use sudo";
  }
  if (has_failed()) {
    return "CUPS refused the " + what + ": " + cupsLastErrorString();
  }
  return std::nullopt;
}

}  // namespace

bool Scheduler::connect() {
  cupsSetPasswordCB2(no_password, nullptr);
  http_ = connect_to_scheduler(kConnectMs);
  return http_ != nullptr;
}

std::vector<std::string> Scheduler::queues() {
  ipp_t* request = ippNewRequest(IPP_OP_CUPS_GET_PRINTERS);
  // Classes have no PPD file.
  ippAddInteger(request, IPP_TAG_OPERATION, IPP_TAG_ENUM, "printer-type", 0);
  ippAddInteger(request, IPP_TAG_OPERATION, IPP_TAG_ENUM, "printer-type-mask", CUPS_PRINTER_CLASS);
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes", nullptr,
               "printer-name");
  const Ipp answer = ask(http(), request);
  std::vector<std::string> names;
  ipp_attribute_t* name = ippFindAttribute(answer.get(), "printer-name", IPP_TAG_NAME);
  for (; name != nullptr; name = ippFindNextAttribute(answer.get(), "printer-name", IPP_TAG_NAME)) {
    names.push_back(text_of(name));
  }
  return names;
}

std::optional<QueueState> Scheduler::queue(const std::string& name) {
  const Ipp answer = ask(http(), request_for(IPP_OP_GET_PRINTER_ATTRIBUTES, name));
  if (!answer) {
    return std::nullopt;
  }
  QueueState state{.device_uri = text_of(answer.get(), "device-uri"),
                   .error_policy = text_of(answer.get(), "printer-error-policy"),
                   .scaling = text_of(answer.get(), "print-scaling-default"),
                   .message = text_of(answer.get(), "printer-state-message"),
                   .stopped = number_of(answer.get(), "printer-state") == IPP_PSTATE_STOPPED,
                   .printing = number_of(answer.get(), "printer-state") == IPP_PSTATE_PROCESSING};
  ipp_attribute_t* attribute = ippFirstAttribute(answer.get());
  for (; attribute != nullptr; attribute = ippNextAttribute(answer.get())) {
    const std::string key = ippGetName(attribute) == nullptr ? "" : ippGetName(attribute);
    if (key.ends_with("-default")) {
      state.job_defaults.push_back(key);
    } else if (key == "printer-is-accepting-jobs") {
      state.accepting = ippGetBoolean(attribute, 0) != 0;
    } else if (key == "printer-is-shared") {
      state.shared = ippGetBoolean(attribute, 0) != 0;
    } else if (key == "printer-state-reasons") {
      state.reasons = texts_of(attribute);
    } else if (key == "member-names") {
      state.members = texts_of(attribute);
    }
  }
  return state;
}

std::vector<QueueJob> Scheduler::jobs(const std::string& queue) {
  ipp_t* request = request_for(IPP_OP_GET_JOBS, queue);
  constexpr std::array<const char*, 3> wanted{"job-id", "job-name", "job-state"};
  ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes",
                static_cast<int>(wanted.size()), nullptr, wanted.data());
  const Ipp answer = ask(http(), request);
  std::vector<QueueJob> jobs;
  bool in_job = false;
  ipp_attribute_t* attribute = ippFirstAttribute(answer.get());
  for (; attribute != nullptr; attribute = ippNextAttribute(answer.get())) {
    const bool of_job =
        ippGetGroupTag(attribute) == IPP_TAG_JOB && ippGetName(attribute) != nullptr;
    if (of_job && !in_job) {
      jobs.emplace_back();
    }
    in_job = of_job;
    const std::string key = of_job ? ippGetName(attribute) : "";
    if (key == "job-id") {
      jobs.back().id = ippGetInteger(attribute, 0);
    } else if (key == "job-state") {
      jobs.back().state = static_cast<ipp_jstate_t>(ippGetInteger(attribute, 0));
    } else if (key == "job-name") {
      jobs.back().title = text_of(attribute);
    }
  }
  return jobs;
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
    return std::string("not known: ") + cupsLastErrorString();
  }
  return std::nullopt;
}

std::optional<std::string> Scheduler::change(const QueueRequest& changes) {
  const int file = anonymous_file_with("queue.ppd", changes.ppd);
  if (file < 0) {
    return "no memory for the PPD file";
  }
  ipp_t* request = request_for(IPP_OP_CUPS_ADD_MODIFY_PRINTER, changes.queue);
  add_changes(request, changes);
  ippDelete(cupsDoIORequest(http(), request, "/admin/", file, -1));
  close(file);
  return refusal_reason("queue " + changes.queue);
}

std::optional<std::string> Scheduler::change_class(const ClassRequest& changes) {
  ipp_t* request = request_for(IPP_OP_CUPS_ADD_MODIFY_CLASS, changes.name, "classes");
  ipp_attribute_t* uris = ippAddStrings(request, IPP_TAG_PRINTER, IPP_TAG_URI, "member-uris",
                                        static_cast<int>(changes.members.size()), nullptr, nullptr);
  int index = 0;
  for (const std::string& member : changes.members) {
    ippSetString(request, &uris, index++, uri_of("printers", member).c_str());
  }
  if (changes.start) {
    add_start(request);
  }
  add_attributes(request, changes.attributes);
  ippDelete(cupsDoRequest(http(), request, "/admin/"));
  return refusal_reason("class " + changes.name);
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
  if (!connect()) {
    return false;
  }
  const Ipp answer(cupsDoRequest(http(), ippNewRequest(IPP_OP_CUPS_GET_DEFAULT), "/"));
  return answer != nullptr;
}

std::optional<std::string> Scheduler::start_sharing() {
  CupsOptions settings;
  settings.add(CUPS_SERVER_SHARE_PRINTERS, "1");
  const SocketState socket;
  if (cupsAdminSetServerSettings(http(), settings.count(), settings.all()) == 0) {
    return refusal_reason("change of its settings")
        .value_or("the settings of the scheduler cannot be changed");
  }
  http_.reset();
  // The scheduler answers first and restarts afterwards.
  for (int waited_ms = 0; waited_ms < kRestartMs; waited_ms += kRetryMs) {
    usleep(kRetryMs * 1000);
    if ((socket.has_changed() || waited_ms >= kHiddenRestartMs) && answers()) {
      return std::nullopt;
    }
  }
  return "the scheduler does not answer after the change of its settings";
}

}  // namespace k905
