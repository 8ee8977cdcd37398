#include "apps/print/filter_destination.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "apps/base/anonymous_file.h"
#include "apps/base/descriptor.h"
#include "apps/base/profiles.h"
#include "apps/base/spawn.h"
#include "apps/layout/raster_writer.h"
#include "apps/print/output_file.h"
#include "filter/cancel_signals.h"
#include "ppd/ppd_text.h"

namespace k905 {

namespace {

constexpr char kProfileOption[] = "ICCProfile";

// Bytes of the stream that are copied at once.
constexpr std::size_t kPieceSize = 1 << 18;

// The errors of the filter's stream. Constants, because recording one must not fail.
constexpr char kWriteError[] = "cannot be written";
constexpr char kSheetProblem[] = "a sheet was not accepted";
constexpr char kWrongStream[] = "the filter's output is not a valid printer stream";
constexpr char kCutStream[] = "the filter's output ends inside a sheet";
constexpr char kNoMemory[] = "not enough memory";

class FilterDestination final : public Destination {
 public:
  explicit FilterDestination(FilterDestinationSetup setup)
      : setup_(std::move(setup)), place_(sheet_place(setup_.choices)) {}
  ~FilterDestination() override { abandon(); }

  [[nodiscard]] const Choices& choices() const override { return setup_.choices; }

  [[nodiscard]] SheetTarget target() const override {
    SheetTarget target;
    // The reader of the ledger may be in another folder.
    target.device = setup_.to.empty() ? "" : std::filesystem::absolute(setup_.to);
    return target;
  }

  [[nodiscard]] bool begin(const JobName&, StartedJob& started, std::string& error) override {
    pages_ = pages_made_ = 0;
    failure_ = nullptr;
    if (!setup_.to.empty() && !output_.open(setup_.to, setup_.append, error)) {
      return false;
    }
    started.place = output_.place();
    if (!start(error)) {
      abandon();
      return false;
    }
    writer_.emplace(raster_.write_end.get(), false);
    return true;
  }

  [[nodiscard]] bool page(const Picture& page, std::string& error) override {
    if (failure_ == nullptr && writer_->write_page(place_, page, error)) {
      ++pages_;
      return true;
    }
    abandon();
    error = failure_text().empty() ? "the filter ended early" : failure_text();
    return false;
  }

  [[nodiscard]] bool end(std::string& place, std::string& error) override {
    const int status = finish();
    error = !failure_text().empty() ? failure_text()
            : status != 0           ? "the filter ended with status " + std::to_string(status)
            : pages_made_ != pages_ ? "the filter made " + std::to_string(pages_made_) + " of " +
                                          std::to_string(pages_) + " pages; --verbose shows its log"
                                    : "";
    if (error.empty() && output_.is_open() && !output_.commit()) {
      error = setup_.to + ": " + std::strerror(errno);
    }
    if (!error.empty()) {
      output_.roll_back();
      return false;
    }
    setup_.append = true;
    place = setup_.to;
    return true;
  }

  void abandon() override {
    if (filter_) {
      // The filter then finishes the current sheet, so that the printer never waits for the rest of
      // it.
      filter_.send(SIGTERM);
      (void)finish();
    }
    output_.roll_back();
  }

  [[nodiscard]] bool may_have_printed() const override {
    return !setup_.to.empty() && !output_.is_regular() && pages_made_ > 0 && pages_made_ >= pages_;
  }

 private:
  bool start(std::string& error) {
    // A PPD file cannot contain the full path of a profile; an argument can.
    Choices choices = setup_.choices;
    choices[kProfileOption] = ppd::no_profile;
    const Descriptor ppd(
        anonymous_file_with("k905-print.ppd", ppd::ppd_text(ppd::models.front(), "1", choices)));
    if (!ppd || !raster_.open() || !stream_.open()) {
      error = std::strerror(errno);
      return false;
    }
    SpawnSetup filter;
    if (!describe_filter(ppd.get(), filter, error)) {
      return false;
    }
    filter_ = spawn(filter);
    if (!filter_) {
      error = setup_.filter + ": " + std::strerror(errno);
      return false;
    }
    raster_.read_end.reset();
    stream_.write_end.reset();
    return start_reader(error);
  }

  bool describe_filter(int ppd, SpawnSetup& filter, std::string& error) const {
    filter.program = setup_.filter;
    filter.arguments = {"rastertok905", "1", "k905-print", "photo", "1", ""};
    if (!add_profile(filter.arguments, error)) {
      return false;
    }
    // With a PPD file the filter writes no log file and no debug images, as under CUPS.
    filter.environment["PPD"] = "/dev/fd/" + std::to_string(ppd);
    const auto ribbon = setup_.choices.find("K905Ribbon");
    if (ribbon != setup_.choices.end() && ribbon->second != "Auto") {
      filter.environment["K905_RIBBON"] = ribbon->second;
    }
    filter.input = raster_.read_end.get();
    filter.output = stream_.write_end.get();
    filter.error = setup_.show_log ? STDERR_FILENO : -1;
    filter.inherited = ppd;
    // A terminal sends these signals to both programs; this one decides what is still printed.
    filter.ignored = {SIGINT, SIGHUP};
    filter.blocked = cancel_signals();
    return true;
  }

  // All memory for copying is allocated before the first page.
  bool start_reader(std::string& error) {
    try {
      piece_.resize(kPieceSize);
      parser_.emplace([this](Sheet&& sheet) { handle_sheet(sheet); });
      reader_ = std::thread([this] { copy_stream(); });
    } catch (const std::exception& problem) {
      error = std::string("not enough memory: ") + problem.what();
      return false;
    }
    return true;
  }

  // The filter would ignore a profile that it cannot find, and print.
  bool add_profile(std::vector<std::string>& arguments, std::string& error) const {
    std::string name = setup_.choices.at(kProfileOption);
    if (name == ppd::profile_by_paper) {
      const auto profile =
          profile_by_paper(setup_.choices.at("PageSize"), setup_.choices.at("StpLaminate"), error);
      if (!profile) {
        return false;
      }
      name = *profile;
    }
    if (name == ppd::no_profile) {
      return true;
    }
    const std::string file = find_profile_file(name);
    if (file.empty()) {
      error = "the profile " + name + " is not found";
      return false;
    }
    arguments.insert(arguments.end(), {"--icc-profile", file});
    return true;
  }

  // Closes the input and reads the rest of the stream; returns the filter's exit status.
  int finish() {
    writer_.reset();
    raster_.write_end.reset();
    if (reader_.joinable()) {
      reader_.join();
    }
    stream_.read_end.reset();
    return filter_.wait().code();
  }

  // Runs in its own thread: copies the filter's stream to its destination, while pages are being
  // made. Must not throw.
  void copy_stream() noexcept {
    bool is_copying = output_.is_open();
    for (;;) {
      const ssize_t size = read(stream_.read_end.get(), piece_.data(), piece_.size());
      if (size < 0 && errno == EINTR) {
        continue;
      }
      if (size <= 0) {
        break;
      }
      const auto count = static_cast<std::size_t>(size);
      if (is_copying && !output_.write(piece_.data(), count)) {
        write_error_ = errno;
        fail(kWriteError);
        is_copying = false;
      }
      parse(count);
      // After most errors the stream is only drained, so that the filter ends. If memory is missing
      // the current sheet still reaches the printer completely.
      is_copying = is_copying && (failure_ == nullptr || failure_ == kNoMemory);
    }
    if (failure_ == nullptr && !parser_->finish()) {
      fail(kCutStream);
    }
  }

  void parse(std::size_t count) {
    if (failure_ != nullptr) {
      return;
    }
    try {
      if (!parser_->feed(piece_.data(), count)) {
        fail(kWrongStream);
      }
    } catch (const std::exception&) {
      fail(kNoMemory);
    }
  }

  void handle_sheet(const Sheet& sheet) {
    // Two pages share a sheet that is taller than that of the paper.
    const bool shared = sheet.height > static_cast<std::uint32_t>(place_.paper->canvas_height) *
                                           (place_.fine ? 2U : 1U);
    pages_made_ += shared ? 2 : 1;
    if (setup_.on_sheet) {
      std::string problem = setup_.on_sheet(sheet);
      if (!problem.empty() && failure_ == nullptr) {
        sheet_problem_ = std::move(problem);
        fail(kSheetProblem);
      }
    }
  }

  // Only the first error is kept; its details were set before.
  void fail(const char* failure) {
    if (failure_ == nullptr) {
      failure_ = failure;
    }
  }

  // The error as a text; "" if there is none.
  [[nodiscard]] std::string failure_text() const {
    const char* const failure = failure_;
    return failure == nullptr         ? ""
           : failure == kWriteError   ? setup_.to + ": " + std::strerror(write_error_)
           : failure == kSheetProblem ? sheet_problem_
                                      : failure;
  }

  FilterDestinationSetup setup_;
  SheetPlace place_;
  OutputFile output_;
  Pipe raster_;
  Pipe stream_;
  Child filter_;
  std::thread reader_;
  std::vector<std::uint8_t> piece_;
  std::optional<PrinterStreamParser> parser_;
  std::optional<RasterWriter> writer_;
  std::atomic<const char*> failure_ = nullptr;
  int write_error_ = 0;
  std::string sheet_problem_;
  int pages_ = 0;
  int pages_made_ = 0;
};

}  // namespace

std::unique_ptr<Destination> make_filter_destination(FilterDestinationSetup setup) {
  return std::make_unique<FilterDestination>(std::move(setup));
}

}  // namespace k905
