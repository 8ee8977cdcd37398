// One question over IPP.

#include "apps/backend/scheduler.h"

#include <string>

#include "apps/base/cups_handles.h"

namespace k905::backend {

namespace {

constexpr int kTimeoutMs = 1000;

ipp_t* new_request(int job) {
  ipp_t* request = ippNewRequest(IPP_OP_GET_JOB_ATTRIBUTES);
  const std::string uri = "ipp://localhost/jobs/" + std::to_string(job);
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_URI, "job-uri", nullptr, uri.c_str());
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes", nullptr,
               "job-state");
  return request;
}

int give_up(http_t*, void*) { return 0; }

}  // namespace

bool job_was_canceled(int job) {
  const Http scheduler = connect_to_scheduler(kTimeoutMs);
  if (!scheduler) {
    return false;
  }
  httpSetTimeout(scheduler.get(), kTimeoutMs / 1000.0, give_up, nullptr);
  const Ipp answer(cupsDoRequest(scheduler.get(), new_request(job), "/"));
  ipp_attribute_t* state =
      answer ? ippFindAttribute(answer.get(), "job-state", IPP_TAG_ENUM) : nullptr;
  return state != nullptr && ippGetInteger(state, 0) == IPP_JSTATE_CANCELED;
}

}  // namespace k905::backend
