// One question over IPP.

#include "apps/backend/scheduler.h"

#include <string>

#include "apps/base/cups_handles.h"

namespace k905::backend {

namespace {

ipp_t* new_request(int job) {
  ipp_t* request = ippNewRequest(IPP_OP_GET_JOB_ATTRIBUTES);
  const std::string uri = "ipp://localhost/jobs/" + std::to_string(job);
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_URI, "job-uri", nullptr, uri.c_str());
  const char* const wanted[] = {"job-state", "time-at-completed"};
  ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes", 2, nullptr,
                wanted);
  return request;
}

int give_up(http_t*, void*) { return 0; }

}  // namespace

std::optional<JobState> ask_scheduler(int job, int timeout_ms) {
  const Http scheduler = connect_to_scheduler(timeout_ms);
  if (!scheduler) {
    return std::nullopt;
  }
  httpSetTimeout(scheduler.get(), timeout_ms / 1000.0, give_up, nullptr);
  const Ipp answer(cupsDoRequest(scheduler.get(), new_request(job), "/"));
  ipp_attribute_t* state =
      answer ? ippFindAttribute(answer.get(), "job-state", IPP_TAG_ENUM) : nullptr;
  if (state == nullptr) {
    return std::nullopt;
  }
  JobState found{.is_canceled = ippGetInteger(state, 0) == IPP_JSTATE_CANCELED,
                 .completed = std::nullopt};
  ipp_attribute_t* completed = ippFindAttribute(answer.get(), "time-at-completed", IPP_TAG_INTEGER);
  if (completed != nullptr) {
    found.completed = ippGetInteger(completed, 0);
  }
  return found;
}

}  // namespace k905::backend
