#include "apps/print/sheet_printer.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <iomanip>
#include <limits>
#include <random>
#include <sstream>
#include <utility>

#include "apps/base/descriptor.h"
#include "apps/print/queue_jobs.h"

namespace k905 {

namespace {

constexpr char kFit[] = "fit";
constexpr char kNotRotated[] = "no-turn";
constexpr char kCaption[] = "caption";
constexpr char kFrame[] = "frame";
constexpr char kLayout[] = "layout";

std::string new_ticket() {
  std::random_device random;
  char text[40];
  std::snprintf(text, sizeof text, "k905-print-%08x%08x%08x", random(), random(), random());
  return text;
}

// Truncates the file to its length before the sheet. False if it is not the same file, so that its
// content is unknown, or if a later job has written to it.
bool truncate_to_start(const SheetEntry& sheet, const Ledger& ledger) {
  if (!sheet.place) {
    return false;
  }
  const FilePlace& place = *sheet.place;
  const Descriptor file(
      open(sheet.target.device.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
  struct stat status {};
  // The lock that OutputFile has while it writes.
  const bool is_same = file && flock(file.get(), LOCK_EX) == 0 && fstat(file.get(), &status) == 0 &&
                       status.st_dev == place.device && status.st_ino == place.inode &&
                       status.st_size >= place.length;
  return is_same && !ledger.has_later_job_in_file(sheet) &&
         ftruncate(file.get(), place.length) == 0 && fsync(file.get()) == 0;
}

// Releases the held job if it is complete, otherwise cancels it, and returns the outcome of its
// sheets; nothing if it cannot be known now.
std::optional<Outcome> resolve_held_job(const SheetEntry& sheet) {
  std::string error;
  switch (state_of_queue_job(sheet.number, sheet.ticket)) {
    case QueueJobState::unknown:
      return std::nullopt;
    case QueueJobState::held:
      if (sheet.outcome == Outcome::complete) {
        const bool released = release_queue_job(sheet.number, sheet.target.hold, error);
        return released ? std::optional(Outcome::printed) : std::nullopt;
      }
      return cancel_queue_job(sheet.number) ? std::optional(Outcome::waiting) : std::nullopt;
    case QueueJobState::released:
      return Outcome::printed;  // released by an operator, if it is not complete in the ledger
    default:
      // Without a job history, CUPS deletes a released job when it is printed.
      return sheet.outcome == Outcome::complete ? Outcome::printed : Outcome::waiting;
  }
}

// Ends an unfinished job, in a file by removing its incomplete data, and returns the outcome of its
// sheets; nothing if it cannot be known now.
std::optional<Outcome> resolve(const SheetEntry& sheet, const Ledger& ledger) {
  if (!sheet.target.queue.empty()) {
    if (sheet.outcome == Outcome::begun) {
      return cancel_queue_jobs_of(sheet.ticket) ? std::optional(Outcome::waiting) : std::nullopt;
    }
    return resolve_held_job(sheet);
  }
  if (sheet.outcome == Outcome::begun) {
    return Outcome::waiting;
  }
  return truncate_to_start(sheet, ledger) ? Outcome::waiting : Outcome::in_doubt;
}

// The error if no more sheets may be printed.
std::string limit_reached(const SheetLimit& limit) {
  const bool is_of_day = limit.event.empty();
  return "the limit of " + std::to_string(limit.sheets) + " sheets for " +
         (is_of_day ? "today" : "the event " + limit.event) + " is reached; the rest is printed " +
         (is_of_day ? "tomorrow, or " : "") + "after a start with a higher --limit";
}

}  // namespace

SheetPrinter::SheetPrinter(const JobSetup& setup, Ledger& ledger, std::string folder,
                           SheetLimit limit, const Reporter& reporter)
    : setup_(setup),
      ledger_(ledger),
      folder_(std::move(folder)),
      limit_(std::move(limit)),
      reporter_(reporter) {}

bool SheetPrinter::resolve_unfinished() {
  if (is_resolved_) {
    return true;
  }
  const std::vector<SheetEntry> sheets = ledger_.unfinished(folder_);
  for (auto first = sheets.begin(); first != sheets.end();) {
    const auto end = std::find_if(first, sheets.end(), [&](const SheetEntry& sheet) {
      return sheet.ticket != first->ticket;
    });
    if (!resolve_job({first, end})) {
      return false;
    }
    first = end;
  }
  is_resolved_ = true;
  return true;
}

bool SheetPrinter::resolve_job(const std::vector<SheetEntry>& sheets) {
  const std::optional<Outcome> outcome = resolve(sheets.front(), ledger_);
  if (!outcome) {
    return false;
  }
  if (*outcome == Outcome::in_doubt) {
    set_in_doubt(sheets);
  } else {
    ledger_.set_outcome(sheets.front().ticket, *outcome);
  }
  return true;
}

void SheetPrinter::set_in_doubt(const std::vector<SheetEntry>& sheets) {
  const SheetEntry& first = sheets.front();
  const std::string reason = "stopped while it was being sent to " + first.target.device;
  ledger_.set_outcome(first.ticket, Outcome::in_doubt, reason, first.printer);
  for (SheetEntry sheet : sheets) {
    reporter_.report_error(sheet.name + ": " + reason +
                           "; if the sheet did not come out, print it with: k905-print --reprint " +
                           std::to_string(sheet.id));
    sheet.outcome = Outcome::in_doubt;
    sheet.reason = reason;
    reporter_.report(report_of(sheet));
  }
}

std::size_t SheetPrinter::sheets_left() const {
  if (limit_.sheets == 0) {
    return std::numeric_limits<int>::max();
  }
  const int done =
      limit_.event.empty() ? ledger_.sheets_today(folder_) : ledger_.sheets_of_event(limit_.event);
  return static_cast<std::size_t>(std::max(limit_.sheets - done, 0));
}

bool SheetPrinter::is_within_limit(std::string& error) const {
  const bool is_within = sheets_left() > 0;
  error = is_within ? "" : limit_reached(limit_);
  return is_within;
}

bool SheetPrinter::print(std::vector<Page>& pages, std::string& place, std::string& error) {
  const auto pages_per_sheet = static_cast<std::size_t>(setup_.pages_per_sheet);
  pages.resize(std::min(pages.size(), sheets_left() * pages_per_sheet));
  std::vector<Ledger::JobSheet> sheets;
  sheets.reserve(pages.size());
  for (const Page& page : pages) {
    sheets.push_back({page.id, static_cast<int>(sheets.size()) / setup_.pages_per_sheet});
  }
  const std::string ticket = new_ticket();
  SheetTarget target = setup_.destination->target();
  target.settings = settings_text(setup_);
  if (pages.empty() || !ledger_.begin(ticket, sheets, target, limit_)) {
    error = limit_reached(limit_);
    return false;
  }
  is_resolved_ = false;
  try {
    if (!send(ticket, pages, place, error)) {
      record_failure(ticket);
      return false;
    }
    ledger_.set_outcome(ticket, Outcome::printed, "", setup_.destination->printer());
  } catch (const LedgerError&) {
    setup_.destination->abandon();
    throw;
  }
  is_resolved_ = true;
  return true;
}

bool SheetPrinter::send(const std::string& ticket, const std::vector<Page>& pages,
                        std::string& place, std::string& error) {
  Destination& destination = *setup_.destination;
  std::vector<std::string> names;
  for (const Page& page : pages) {
    if (names.empty() || names.back() != page.name) {
      names.push_back(page.name);
    }
  }
  Destination::StartedJob started;
  if (!destination.begin({job_title(names), ticket}, started, error)) {
    return false;
  }
  ledger_.record_sending(ticket, started.number, started.place, destination.printer());
  for (const Page& page : pages) {
    if (!destination.page(*page.page, error)) {
      return false;
    }
  }
  if (started.number != 0) {
    if (!destination.complete(error)) {
      return false;
    }
    ledger_.set_outcome(ticket, Outcome::complete);
  }
  return destination.end(place, error);
}

// The program continues and therefore knows more than after a crash: a file was truncated, a device
// that did not accept the complete sheet does not print it. A queue has to be asked.
void SheetPrinter::record_failure(const std::string& ticket) {
  std::vector<SheetEntry> sheets = ledger_.unfinished(folder_);
  std::erase_if(sheets, [&](const SheetEntry& sheet) { return sheet.ticket != ticket; });
  for (SheetEntry& sheet : sheets) {
    sheet.printer = setup_.destination->printer();
  }
  if (sheets.empty() || !sheets.front().target.queue.empty()) {
    (void)resolve_unfinished();
  } else if (!sheets.front().place && setup_.destination->may_have_printed()) {
    set_in_doubt(sheets);
  } else {
    ledger_.set_outcome(ticket, Outcome::waiting);
  }
}

std::string settings_text(const JobSetup& setup) {
  std::ostringstream text;
  for (const auto& [keyword, choice] : setup.destination->choices()) {
    text << keyword << "=" << choice << " ";
  }
  text << (setup.prepare_options.fit ? kFit : "") << " "
       << (setup.prepare_options.rotate ? "" : kNotRotated) << " ";
  for (const auto& [keyword, value] :
       {std::pair(kCaption, setup.caption), std::pair(kFrame, setup.frame_file),
        std::pair(kLayout, setup.layout)}) {
    if (!value.empty()) {
      text << std::quoted(std::string(keyword) + "=" + value) << " ";
    }
  }
  return text.str();
}

void add_settings(const std::string& text, Choices& choices, JobSetup& setup) {
  std::istringstream words(text);
  // The cut and the layout were chosen for the paper.
  const bool is_other_paper = choices.contains("PageSize");
  const auto add = [](std::string& to, const std::string& value) { to = to.empty() ? value : to; };
  for (std::string word; words >> std::quoted(word);) {
    const std::size_t equals = word.find('=');
    const std::string keyword = word.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
    if (is_other_paper && (keyword == kLayout || keyword == "K905Cut")) {
      continue;
    }
    if (keyword == kCaption) {
      add(setup.caption, value);
    } else if (keyword == kFrame) {
      add(setup.frame_file, value);
    } else if (keyword == kLayout) {
      add(setup.layout, value);
    } else if (equals != std::string::npos) {
      choices.emplace(keyword, value);
    }
    setup.prepare_options.fit = setup.prepare_options.fit || word == kFit;
    setup.prepare_options.rotate = setup.prepare_options.rotate && word != kNotRotated;
  }
}

}  // namespace k905
