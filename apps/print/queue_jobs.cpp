#include "apps/print/queue_jobs.h"

#include <cups/cups.h>

#include <cstring>
#include <vector>

#include "apps/base/cups_handles.h"

namespace k905 {

namespace {

void add_name(ipp_t* request, ipp_tag_t kind, const char* name, const std::string& value) {
  ippAddString(request, IPP_TAG_OPERATION, kind, name, nullptr, value.c_str());
}

ipp_t* job_request(ipp_op_t operation, int number) {
  ipp_t* request = ippNewRequest(operation);
  add_name(request, IPP_TAG_URI, "job-uri", "ipp://localhost/jobs/" + std::to_string(number));
  add_name(request, IPP_TAG_NAME, "requesting-user-name", cupsUser());
  return request;
}

// Returns the answer of the print system, with errors in cupsLastError(). Takes ownership of the
// request.
Ipp answer_to(ipp_t* request) { return Ipp(cupsDoRequest(CUPS_HTTP_DEFAULT, request, "/jobs/")); }

bool is_granted() { return cupsLastError() < IPP_STATUS_REDIRECTION_OTHER_SITE; }

std::string text_in(ipp_t* answer, const char* name) {
  ipp_attribute_t* attribute = ippFindAttribute(answer, name, IPP_TAG_ZERO);
  const char* text = attribute == nullptr ? nullptr : ippGetString(attribute, 0, nullptr);
  return text == nullptr ? "" : text;
}

int number_in(ipp_t* answer, const char* name) {
  ipp_attribute_t* attribute = ippFindAttribute(answer, name, IPP_TAG_ZERO);
  return attribute == nullptr ? 0 : ippGetInteger(attribute, 0);
}

QueueJobState state_in(ipp_t* job) {
  switch (number_in(job, "job-state")) {
    case IPP_JSTATE_HELD:
      return text_in(job, kHoldOption) == kHeld ? QueueJobState::held : QueueJobState::released;
    case IPP_JSTATE_CANCELED:
    case IPP_JSTATE_ABORTED:
      return QueueJobState::ended;
    case IPP_JSTATE_COMPLETED:
      // Counted when the last byte of a document has arrived.
      return number_in(job, "job-k-octets") > 0 ? QueueJobState::released : QueueJobState::ended;
    default:
      return QueueJobState::released;
  }
}

// A stopped queue reports only its own state, not that of its jobs.
std::string why_queue_waits(const std::string& uri, const std::string& message) {
  ipp_t* request = ippNewRequest(IPP_OP_GET_PRINTER_ATTRIBUTES);
  add_name(request, IPP_TAG_URI, "printer-uri", uri);
  add_name(request, IPP_TAG_KEYWORD, "requested-attributes", "printer-state");
  const Ipp answer = answer_to(request);
  const bool is_stopped = answer && number_in(answer.get(), "printer-state") == IPP_PSTATE_STOPPED;
  return is_stopped ? "the queue is stopped" + (message.empty() ? "" : ": " + message) : message;
}

// Reads an answer about many jobs: each is a group of attributes in any order, and the separators
// between groups have no name.
std::vector<int> jobs_with_ticket(ipp_t* answer, const std::string& ticket) {
  std::vector<int> numbers;
  int number = 0;
  bool has_ticket = false;
  ipp_attribute_t* attribute = ippFirstAttribute(answer);
  for (;; attribute = ippNextAttribute(answer)) {
    const char* name = attribute == nullptr ? nullptr : ippGetName(attribute);
    if (name == nullptr) {
      if (has_ticket && number != 0) {
        numbers.push_back(number);
      }
      number = 0;
      has_ticket = false;
      if (attribute == nullptr) {
        return numbers;
      }
    } else if (std::strcmp(name, "job-id") == 0) {
      number = ippGetInteger(attribute, 0);
    } else if (std::strcmp(name, kTicketOption) == 0) {
      const char* text = ippGetString(attribute, 0, nullptr);
      has_ticket = text != nullptr && ticket == text;
    }
  }
}

}  // namespace

QueueJobState state_of_queue_job(int number, const std::string& ticket) {
  const Ipp answer = answer_to(job_request(IPP_OP_GET_JOB_ATTRIBUTES, number));
  if (cupsLastError() == IPP_STATUS_ERROR_NOT_FOUND) {
    return QueueJobState::missing;
  }
  if (!answer || !is_granted()) {
    return QueueJobState::unknown;
  }
  // Numbers restart when the spool is lost.
  if (text_in(answer.get(), kTicketOption) != ticket) {
    return QueueJobState::missing;
  }
  return state_in(answer.get());
}

QueueJobProgress progress_of_queue_job(int number) {
  using State = QueueJobProgress::State;
  const Ipp answer = answer_to(job_request(IPP_OP_GET_JOB_ATTRIBUTES, number));
  if (cupsLastError() == IPP_STATUS_ERROR_NOT_FOUND) {
    return {State::missing, "the print system no longer knows the job"};
  }
  if (!answer || !is_granted()) {
    return {State::unknown, "the print system does not answer"};
  }
  const std::string message = text_in(answer.get(), "job-printer-state-message");
  switch (number_in(answer.get(), "job-state")) {
    case IPP_JSTATE_COMPLETED:
      return {State::printed, ""};
    case IPP_JSTATE_CANCELED:
      return {State::failed, "the job was canceled"};
    case IPP_JSTATE_ABORTED:
      return {State::failed, "the job was aborted: " + message};
    case IPP_JSTATE_HELD:
      return {State::active, "the job is held"};
    default:
      break;
  }
  return {State::active, why_queue_waits(text_in(answer.get(), "job-printer-uri"), message)};
}

bool release_queue_job(int number, const std::string& hold, std::string& error) {
  ipp_t* request =
      job_request(hold.empty() ? IPP_OP_RELEASE_JOB : IPP_OP_SET_JOB_ATTRIBUTES, number);
  if (!hold.empty()) {
    ippAddString(request, IPP_TAG_JOB, IPP_TAG_KEYWORD, kHoldOption, nullptr, hold.c_str());
  }
  const Ipp answer = answer_to(request);
  if (is_granted()) {
    return true;
  }
  error = cupsLastErrorString();
  return false;
}

bool cancel_queue_job(int number) {
  const Ipp answer = answer_to(job_request(IPP_OP_CANCEL_JOB, number));
  // A job that has ended or does not exist need not be canceled.
  return is_granted() || cupsLastError() == IPP_STATUS_ERROR_NOT_FOUND ||
         cupsLastError() == IPP_STATUS_ERROR_NOT_POSSIBLE;
}

bool cancel_queue_jobs_of(const std::string& ticket) {
  ipp_t* request = ippNewRequest(IPP_OP_GET_JOBS);
  add_name(request, IPP_TAG_URI, "printer-uri", "ipp://localhost/");
  add_name(request, IPP_TAG_NAME, "requesting-user-name", cupsUser());
  add_name(request, IPP_TAG_KEYWORD, "which-jobs", "not-completed");
  const char* const wanted[] = {"job-id", kTicketOption};
  ippAddStrings(request, IPP_TAG_OPERATION, IPP_TAG_KEYWORD, "requested-attributes", 2, nullptr,
                wanted);
  const Ipp answer = answer_to(request);
  if (!answer || !is_granted()) {
    return false;
  }
  const std::vector<int> numbers = jobs_with_ticket(answer.get(), ticket);
  bool all_canceled = true;
  for (const int found : numbers) {
    all_canceled = cancel_queue_job(found) && all_canceled;
  }
  return all_canceled;
}

}  // namespace k905
