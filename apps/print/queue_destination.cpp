#include "apps/print/queue_destination.h"

#include <optional>
#include <utility>

#include "apps/base/cups_handles.h"
#include "apps/base/queue_ppd.h"
#include "apps/layout/page_plan.h"
#include "apps/layout/raster_writer.h"

namespace {

constexpr int kConnectMs = 30000;
constexpr char kRasterFormat[] = "application/vnd.cups-raster";

using k905::CupsOptions;
using k905::Dest;
using k905::Http;
using k905::Ipp;
using k905::Ppd;

Dest find_queue(const std::string& queue) {
  if (queue.empty()) {
    return Dest(cupsGetNamedDest(CUPS_HTTP_DEFAULT, nullptr, nullptr));
  }
  const std::size_t slash = queue.find('/');
  const std::string name = queue.substr(0, slash);
  const std::string instance = slash == std::string::npos ? "" : queue.substr(slash + 1);
  return Dest(cupsGetNamedDest(CUPS_HTTP_DEFAULT, name.c_str(),
                               instance.empty() ? nullptr : instance.c_str()));
}

std::string marked_choice(ppd_file_t* ppd, const std::string& keyword) {
  const ppd_choice_t* choice = ppdFindMarkedChoice(ppd, keyword.c_str());
  // Marking a page size takes the mark off the page region and the other way round.
  if (choice == nullptr && keyword == "PageSize") {
    choice = ppdFindMarkedChoice(ppd, "PageRegion");
  }
  return choice == nullptr ? "" : choice->choice;
}

std::string default_choice(ppd_file_t* ppd, const std::string& keyword) {
  const ppd_option_t* option = ppdFindOption(ppd, keyword.c_str());
  return option == nullptr ? "" : option->defchoice;
}

// The queue's defaults, the user's own (lpoptions) over them, the wishes over all.
bool mark_all(ppd_file_t* ppd, const cups_dest_t& dest, const Choices& wishes, std::string& error) {
  ppdMarkDefaults(ppd);
  cupsMarkOptions(ppd, dest.num_options, dest.options);
  CupsOptions wished;
  for (const auto& [keyword, choice] : wishes) {
    wished.add(keyword, choice);
  }
  cupsMarkOptions(ppd, wished.count(), wished.all());
  for (const auto& [keyword, choice] : wishes) {
    if (marked_choice(ppd, keyword) != choice) {
      error = std::string("the queue ").append(dest.name).append(" does not offer ");
      error.append(keyword).append("=").append(choice);
      return false;
    }
  }
  return true;
}

Choices marked_choices(ppd_file_t* ppd) {
  Choices choices = default_choices();
  for (auto& [keyword, choice] : choices) {
    const std::string marked = marked_choice(ppd, keyword);
    if (!marked.empty()) {
      choice = marked;
    }
  }
  return choices;
}

// What the job must say for itself. The paper always: the page was drawn for it.
Choices job_choices(ppd_file_t* ppd, const Choices& choices) {
  Choices said;
  for (const auto& [keyword, choice] : choices) {
    if (keyword == "PageSize" || choice != default_choice(ppd, keyword)) {
      said[keyword] = choice;
    }
  }
  return said;
}

class QueueDestination final : public Destination {
 public:
  QueueDestination(std::string queue, Choices choices, const Choices& said)
      : queue_(std::move(queue)), choices_(std::move(choices)), place_(sheet_place(choices_)) {
    for (const auto& [keyword, choice] : said) {
      job_options_.add(keyword, choice);
    }
  }
  ~QueueDestination() override { abandon(); }

  [[nodiscard]] const Choices& choices() const override { return choices_; }

  [[nodiscard]] bool begin(const std::string& title, Begun& begun, std::string& error) override {
    // A connection for every job: a job that is given up is cut off with it, where the end of the
    // request would make the print system take what has come for the whole.
    http_ = k905::connect_to_scheduler(kConnectMs);
    if (!http_) {
      error = "the print system does not answer";
      return false;
    }
    job_ = cupsCreateJob(http_.get(), queue_.c_str(), title.c_str(), job_options_.count(),
                         job_options_.all());
    begun.number = job_;
    if (job_ == 0) {
      error = said_by_cups();
      return false;
    }
    title_ = title;
    return true;
  }

  [[nodiscard]] bool page(const Picture& page, std::string& error) override {
    if ((!writer_ && !start_document(error)) ||
        !writer_->write_page(page_plan(place_), page, error)) {
      error = "job " + std::to_string(job_) + " on " + queue_ + ": " + error;
      abandon();
      return false;
    }
    return true;
  }

  [[nodiscard]] bool end(std::string& word, std::string& error) override {
    writer_.reset();
    const ipp_status_t status = cupsFinishDocument(http_.get(), queue_.c_str());
    if (status >= IPP_STATUS_REDIRECTION_OTHER_SITE || status < IPP_STATUS_OK) {
      error = said_by_cups();
      abandon();
      return false;
    }
    word = "job " + std::to_string(job_) + " on " + queue_;
    job_ = 0;
    return true;
  }

  void abandon() override {
    given_up_ = true;
    writer_.reset();
    http_.reset();
    if (job_ != 0) {
      cancel_job(std::exchange(job_, 0));
    }
  }

 private:
  static std::string said_by_cups() {
    const char* words = cupsLastErrorString();
    return words != nullptr ? words : "the print system refuses the job";
  }

  bool start_document(std::string& error) {
    given_up_ = false;
    if (cupsStartDocument(http_.get(), queue_.c_str(), job_, title_.c_str(), kRasterFormat, 1) !=
        HTTP_STATUS_CONTINUE) {
      error = said_by_cups();
      return false;
    }
    writer_.emplace(
        [this](const std::uint8_t* bytes, std::size_t count) -> const char* {
          const bool taken =
              !given_up_ && cupsWriteRequestData(http_.get(), reinterpret_cast<const char*>(bytes),
                                                 count) == HTTP_STATUS_CONTINUE;
          return taken ? nullptr : "the print system takes no more of it";
        },
        true);
    return true;
  }

  std::string queue_;
  Choices choices_;
  SheetPlace place_;
  CupsOptions job_options_;
  Http http_;
  int job_ = 0;
  std::string title_;
  bool given_up_ = false;
  std::optional<RasterWriter> writer_;
};

std::string job_uri(int number) { return "ipp://localhost/jobs/" + std::to_string(number); }

int integer_of(ipp_t* answer, const char* name) {
  ipp_attribute_t* attribute = ippFindAttribute(answer, name, IPP_TAG_ZERO);
  return attribute == nullptr ? 0 : ippGetInteger(attribute, 0);
}

}  // namespace

std::unique_ptr<Destination> make_queue_destination(const std::string& queue, const Choices& wishes,
                                                    std::string& error) {
  const Dest dest = find_queue(queue);
  if (!dest) {
    error = queue.empty() ? "there is no default queue; name one with --queue, or a file or "
                            "device with --to"
                          : "there is no queue " + queue;
    return nullptr;
  }
  const Ppd ppd = k905::read_queue_ppd(CUPS_HTTP_DEFAULT, dest->name);
  if (!ppd || ppdFindOption(ppd.get(), "StpLaminate") == nullptr) {
    error = std::string(dest->name) + " is no queue of this printer";
    return nullptr;
  }
  if (!mark_all(ppd.get(), *dest, wishes, error)) {
    return nullptr;
  }
  const Choices choices = marked_choices(ppd.get());
  if (page_size_name(choices.at("PageSize")).empty()) {
    error = "the queue " + std::string(dest->name) + " has no paper of this printer";
    return nullptr;
  }
  return std::make_unique<QueueDestination>(dest->name, choices, job_choices(ppd.get(), choices));
}

JobFate fate_of_job(int number, const std::string& title) {
  ipp_t* request = ippNewRequest(IPP_OP_GET_JOB_ATTRIBUTES);
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_URI, "job-uri", nullptr,
               job_uri(number).c_str());
  ippAddString(request, IPP_TAG_OPERATION, IPP_TAG_NAME, "requesting-user-name", nullptr,
               cupsUser());
  const Ipp answer(cupsDoRequest(CUPS_HTTP_DEFAULT, request, "/"));
  if (cupsLastError() == IPP_STATUS_ERROR_NOT_FOUND) {
    return JobFate::gone;
  }
  if (!answer || cupsLastError() >= IPP_STATUS_REDIRECTION_OTHER_SITE) {
    return JobFate::unknown;
  }
  ipp_attribute_t* name = ippFindAttribute(answer.get(), "job-name", IPP_TAG_NAME);
  // Numbers begin anew when the spool is lost.
  if (name != nullptr && title != ippGetString(name, 0, nullptr)) {
    return JobFate::gone;
  }
  // Counted when the last byte of a document has arrived, and kept for as long as the job is known.
  return integer_of(answer.get(), "job-k-octets") > 0 ? JobFate::taken : JobFate::not_taken;
}

void cancel_job(int number) { (void)cupsCancelJob2(CUPS_HTTP_DEFAULT, nullptr, number, 0); }
