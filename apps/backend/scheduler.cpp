// One question over IPP.

#include "apps/backend/scheduler.h"

#include <cups/cups.h>

#include <memory>
#include <string>

namespace k905::backend {

namespace {

constexpr int kTimeoutMs = 1000;

using Connection = std::unique_ptr<http_t, decltype(&httpClose)>;
using Message = std::unique_ptr<ipp_t, decltype(&ippDelete)>;

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

bool job_was_cancelled(int job) {
  const Connection scheduler(httpConnect2(cupsServer(), ippPort(), nullptr, AF_UNSPEC,
                                          HTTP_ENCRYPTION_IF_REQUESTED, 1, kTimeoutMs, nullptr),
                             httpClose);
  if (!scheduler) {
    return false;
  }
  httpSetTimeout(scheduler.get(), kTimeoutMs / 1000.0, give_up, nullptr);
  const Message answer(cupsDoRequest(scheduler.get(), new_request(job), "/"), ippDelete);
  ipp_attribute_t* state =
      answer ? ippFindAttribute(answer.get(), "job-state", IPP_TAG_ENUM) : nullptr;
  return state != nullptr && ippGetInteger(state, 0) == IPP_JSTATE_CANCELED;
}

}  // namespace k905::backend
