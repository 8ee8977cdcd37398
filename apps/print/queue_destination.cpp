#include "apps/print/queue_destination.h"

#include <cstring>
#include <optional>
#include <utility>

#include "apps/base/cups_handles.h"
#include "apps/base/queue_ppd.h"
#include "apps/layout/raster_writer.h"
#include "apps/print/queue_jobs.h"

namespace k905 {

namespace {

constexpr int kConnectMs = 30000;
constexpr char kRasterFormat[] = "application/vnd.cups-raster";

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

// The defaults that the queue or the user's own options for it (lpoptions) set, overridden by
// `choices`.
CupsOptions given_options(const cups_dest_t& dest, const Choices& choices) {
  CupsOptions given;
  for (int i = 0; i < dest.num_options; ++i) {
    given.add(dest.options[i].name, dest.options[i].value);
  }
  for (const auto& [keyword, choice] : choices) {
    given.add(keyword, choice);
  }
  return given;
}

// Whether this is the default of an option that the queue's PPD file does not have. Options without
// an effect on the print are not in the file, but the ledger names them for a sheet that is printed
// again.
bool is_missing_default(ppd_file_t* ppd, const std::string& keyword, const std::string& choice) {
  const Choices defaults = default_choices();
  const auto usual = defaults.find(keyword);
  return ppdFindOption(ppd, keyword.c_str()) == nullptr && usual != defaults.end() &&
         usual->second == choice;
}

// Marks the queue's defaults, overridden by `given`, which includes `choices`. False with `error`
// if the queue does not offer one of `choices`.
bool mark_all(ppd_file_t* ppd, const char* queue, const CupsOptions& given, const Choices& choices,
              std::string& error) {
  ppdMarkDefaults(ppd);
  cupsMarkOptions(ppd, given.count(), given.all());
  mark_finish(*ppd, given.count(), given.all());
  for (const auto& [keyword, choice] : choices) {
    if (marked_choice(*ppd, keyword) != choice && !is_missing_default(ppd, keyword, choice)) {
      error = std::string("the queue ").append(queue).append(" does not offer ");
      error.append(keyword).append("=").append(choice);
      return false;
    }
  }
  return true;
}

Choices marked_choices(ppd_file_t* ppd) {
  Choices choices = default_choices();
  for (auto& [keyword, choice] : choices) {
    const std::string marked = marked_choice(*ppd, keyword);
    if (!marked.empty()) {
      choice = marked;
    }
  }
  return choices;
}

// The options that the job must contain: those that were given; those whose choice is not the
// default of the PPD file, because a related default of the queue could select a different one; the
// paper, because the page was made for it; and the finish, because the queue may have a default
// media type, which selects one.
Choices job_choices(ppd_file_t* ppd, const CupsOptions& given, const Choices& choices) {
  Choices explicit_choices;
  for (const auto& [keyword, choice] : choices) {
    if (keyword == "PageSize" || keyword == "StpLaminate" ||
        !given.value(keyword.c_str()).empty() || choice != default_choice(*ppd, keyword)) {
      explicit_choices[keyword] = choice;
    }
  }
  return explicit_choices;
}

class QueueDestination final : public Destination {
 public:
  // `hold`: until when the queue holds its jobs; "" if it does not.
  QueueDestination(std::string queue, std::string hold, Choices choices,
                   const Choices& explicit_choices)
      : queue_(std::move(queue)),
        hold_(std::move(hold)),
        choices_(std::move(choices)),
        place_(sheet_place(choices_)) {
    for (const auto& [keyword, choice] : explicit_choices) {
      job_options_.add(keyword, choice);
    }
    // Copies are sent as separate pages. Without this option CUPS would add the queue's default
    // number of copies.
    job_options_.add("copies", "1");
  }
  ~QueueDestination() override { abandon(); }

  [[nodiscard]] const Choices& choices() const override { return choices_; }

  [[nodiscard]] SheetTarget target() const override {
    SheetTarget target;
    target.queue = queue_;
    target.hold = hold_;
    return target;
  }

  [[nodiscard]] bool begin(const JobName& name, StartedJob& started, std::string& error) override {
    // A connection for every job: closing it aborts an unfinished job. If the request were ended
    // instead, the print system would treat the data so far as the complete job.
    http_ = connect_to_scheduler(kConnectMs);
    if (!http_) {
      error = "the print system does not answer";
      return false;
    }
    CupsOptions options(job_options_);
    is_held_ = !name.ticket.empty();
    if (is_held_) {
      options.add(kHoldOption, kHeld);
      options.add(kTicketOption, name.ticket);
    }
    job_ = cupsCreateJob(http_.get(), queue_.c_str(), name.title.c_str(), options.count(),
                         options.all());
    started.number = job_;
    is_complete_ = false;
    if (job_ == 0) {
      error = last_cups_error();
      return false;
    }
    title_ = name.title;
    return true;
  }

  [[nodiscard]] bool page(const Picture& page, std::string& error) override {
    if ((!writer_ && !start_document(error)) || !writer_->write_page(place_, page, error)) {
      error = "job " + std::to_string(job_) + " on " + queue_ + ": " + error;
      abandon();
      return false;
    }
    return true;
  }

  [[nodiscard]] bool complete(std::string& error) override {
    writer_.reset();
    const ipp_status_t status = cupsFinishDocument(http_.get(), queue_.c_str());
    if (status >= IPP_STATUS_REDIRECTION_OTHER_SITE || status < IPP_STATUS_OK) {
      error = last_cups_error();
      abandon();
      return false;
    }
    is_complete_ = true;
    return true;
  }

  [[nodiscard]] bool end(std::string& place, std::string& error) override {
    if (!is_complete_ && !complete(error)) {
      return false;
    }
    const int number = std::exchange(job_, 0);
    place = "job " + std::to_string(number) + " on " + queue_;
    return !is_held_ || release_queue_job(number, hold_, error);
  }

  void abandon() override {
    is_abandoned_ = true;
    writer_.reset();
    http_.reset();
    if (job_ != 0) {
      (void)cancel_queue_job(std::exchange(job_, 0));
    }
  }

 private:
  static std::string last_cups_error() {
    const char* reason = cupsLastErrorString();
    return reason != nullptr ? reason : "the print system refuses the job";
  }

  bool start_document(std::string& error) {
    is_abandoned_ = false;
    if (cupsStartDocument(http_.get(), queue_.c_str(), job_, title_.c_str(), kRasterFormat, 1) !=
        HTTP_STATUS_CONTINUE) {
      error = last_cups_error();
      return false;
    }
    writer_.emplace(
        [this](const std::uint8_t* bytes, std::size_t count) -> const char* {
          const bool accepted =
              !is_abandoned_ &&
              cupsWriteRequestData(http_.get(), reinterpret_cast<const char*>(bytes), count) ==
                  HTTP_STATUS_CONTINUE;
          return accepted ? nullptr : "the print system accepts no more data";
        },
        true);
    return true;
  }

  std::string queue_;
  std::string hold_;
  Choices choices_;
  SheetPlace place_;
  CupsOptions job_options_;
  Http http_;
  int job_ = 0;
  std::string title_;
  bool is_held_ = false;
  bool is_complete_ = false;
  bool is_abandoned_ = false;
  std::optional<RasterWriter> writer_;
};

// The default of job-hold-until, which the queue or the user's own options for it (lpoptions) can
// set; "" if jobs are not held.
std::string default_hold(const cups_dest_t& dest) {
  const char* hold = cupsGetOption(kHoldOption, dest.num_options, dest.options);
  return hold == nullptr || std::strcmp(hold, "no-hold") == 0 ? "" : hold;
}

}  // namespace

std::unique_ptr<Destination> make_queue_destination(const std::string& queue,
                                                    const Choices& choices, std::string& error) {
  const Dest dest = find_queue(queue);
  if (!dest) {
    error = queue.empty() ? "there is no default queue; choose one with --queue, or a file or "
                            "device with --to"
                          : "there is no queue " + queue;
    return nullptr;
  }
  const Ppd ppd = read_queue_ppd(CUPS_HTTP_DEFAULT, dest->name);
  if (!ppd || ppdFindOption(ppd.get(), "StpLaminate") == nullptr) {
    error = std::string(dest->name) + " is not a queue for this printer";
    return nullptr;
  }
  const CupsOptions given = given_options(*dest, choices);
  if (!mark_all(ppd.get(), dest->name, given, choices, error)) {
    return nullptr;
  }
  Choices effective = marked_choices(ppd.get());
  if (page_size_name(effective.at("PageSize")).empty()) {
    error = "the paper " + effective.at("PageSize") + " of the queue " + dest->name +
            " is not a paper of this printer";
    return nullptr;
  }
  if (!apply_cut(effective, error)) {
    return nullptr;
  }
  return std::make_unique<QueueDestination>(dest->name, default_hold(*dest), effective,
                                            job_choices(ppd.get(), given, effective));
}

}  // namespace k905
