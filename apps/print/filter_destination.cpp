#include "apps/print/filter_destination.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "apps/base/filter_child.h"
#include "apps/base/nameless_file.h"
#include "apps/image/profile_file.h"
#include "apps/layout/page_plan.h"
#include "apps/layout/raster_writer.h"
#include "apps/print/output_file.h"
#include "ppd/ppd_text.h"

namespace {

constexpr char kProfileOption[] = "ICCProfile";

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  ~Descriptor() { reset(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  [[nodiscard]] int number() const { return number_; }
  void reset(int number = -1) {
    if (number_ >= 0) {
      close(number_);
    }
    number_ = number;
  }

 private:
  int number_;
};

struct Pipe {
  Descriptor read_end;
  Descriptor write_end;

  [[nodiscard]] bool open() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
      return false;
    }
    read_end.reset(ends[0]);
    write_end.reset(ends[1]);
    return true;
  }
};

class FilterDestination final : public Destination {
 public:
  explicit FilterDestination(FilterDestinationSetup setup)
      : setup_(std::move(setup)), place_(sheet_place(setup_.choices)) {}
  ~FilterDestination() override { abandon(); }

  [[nodiscard]] const Choices& choices() const override { return setup_.choices; }

  [[nodiscard]] bool begin(const std::string&, Begun&, std::string& error) override {
    if (!setup_.to.empty() && !output_.open(setup_.to, setup_.append)) {
      error = setup_.to + ": " + std::strerror(errno);
      return false;
    }
    pages_ = pages_made_ = 0;
    trouble_.clear();
    troubled_ = false;
    if (!start(error)) {
      abandon();
      return false;
    }
    reader_ = std::thread([this] { pass_on(); });
    writer_.emplace(raster_.write_end.number(), false);
    return true;
  }

  [[nodiscard]] bool page(const Picture& page, std::string& error) override {
    if (!troubled_ && writer_->write_page(page_plan(place_), page, error)) {
      ++pages_;
      return true;
    }
    abandon();
    error = trouble_.empty() ? "the filter ended early" : trouble_;
    return false;
  }

  [[nodiscard]] bool end(std::string& word, std::string& error) override {
    const int status = finish();
    error = !trouble_.empty()       ? trouble_
            : status != 0           ? "the filter ended with status " + std::to_string(status)
            : pages_made_ != pages_ ? "the filter made " + std::to_string(pages_made_) + " of " +
                                          std::to_string(pages_) + " pages; --verbose shows its log"
                                    : "";
    if (error.empty() && output_.is_open() && !output_.keep()) {
      error = setup_.to + ": " + std::strerror(errno);
    }
    if (!error.empty()) {
      output_.take_back();
      return false;
    }
    setup_.append = true;
    word = setup_.to;
    return true;
  }

  void abandon() override {
    if (filter_ > 0) {
      // The sheet in hand is finished, so that the printer never waits for the rest of it.
      kill(filter_, SIGTERM);
      (void)finish();
    }
    output_.take_back();
  }

 private:
  bool start(std::string& error) {
    // A PPD file cannot name a profile by its whole path; an argument can.
    Choices choices = setup_.choices;
    choices[kProfileOption] = ppd::no_profile;
    const Descriptor ppd(
        nameless_file_holding("k905-print.ppd", ppd::ppd_text(ppd::models.front(), "1", choices)));
    if (ppd.number() < 0 || !raster_.open() || !stream_.open()) {
      error = std::strerror(errno);
      return false;
    }
    FilterStart filter;
    filter.program = setup_.filter;
    filter.arguments = {"rastertok905", "1", "k905-print", "photo", "1", ""};
    if (!add_profile(filter.arguments, error)) {
      return false;
    }
    // A named PPD file also keeps the filter from leaving pictures of every stage.
    filter.environment["PPD"] = "/dev/fd/" + std::to_string(ppd.number());
    const auto ribbon = setup_.choices.find("K905Ribbon");
    if (ribbon != setup_.choices.end() && ribbon->second != "Auto") {
      filter.environment["K905_RIBBON"] = ribbon->second;
    }
    filter.input = raster_.read_end.number();
    filter.output = stream_.write_end.number();
    filter.log = setup_.show_log ? STDERR_FILENO : -1;
    filter_ = start_filter(filter, ppd.number());
    if (filter_ < 0) {
      error = setup_.filter + ": " + std::strerror(errno);
      return false;
    }
    raster_.read_end.reset();
    stream_.write_end.reset();
    return true;
  }

  // The filter would print without the profile that it does not find.
  bool add_profile(std::vector<std::string>& arguments, std::string& error) const {
    const std::string name = setup_.choices.at(kProfileOption);
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

  // Ends the input, takes the rest of the stream; the filter's exit status.
  int finish() {
    writer_.reset();
    raster_.write_end.reset();
    if (reader_.joinable()) {
      reader_.join();
    }
    stream_.read_end.reset();
    return wait_for_filter(std::exchange(filter_, -1));
  }

  // In its own thread: the filter's stream to its destination, while pages are being made.
  void pass_on() {
    PrinterStreamParser parser([this](Sheet&& sheet) { take_sheet(sheet); });
    std::vector<std::uint8_t> bytes(1 << 18);
    for (;;) {
      const ssize_t got = read(stream_.read_end.number(), bytes.data(), bytes.size());
      if (got < 0 && errno == EINTR) {
        continue;
      }
      if (got <= 0) {
        break;
      }
      const auto count = static_cast<std::size_t>(got);
      if (output_.is_open() && !troubled_ && !output_.write(bytes.data(), count)) {
        note_trouble(setup_.to + ": " + std::strerror(errno));
      }
      // After trouble the stream is only drained, so that the filter comes to its end.
      if (!troubled_ && !parser.feed(bytes.data(), count)) {
        note_trouble("the filter's stream is not what the printer takes");
      }
    }
    if (!troubled_ && !parser.finish()) {
      note_trouble("the filter's stream ends inside a sheet");
    }
  }

  void take_sheet(const Sheet& sheet) {
    // Two pages share a sheet that is taller than the paper's own.
    const bool shared = sheet.height > static_cast<std::uint32_t>(place_.paper->canvas_height) *
                                           (place_.fine ? 2U : 1U);
    pages_made_ += shared ? 2 : 1;
    if (setup_.on_sheet) {
      const std::string problem = setup_.on_sheet(sheet);
      if (!problem.empty()) {
        note_trouble(problem);
      }
    }
  }

  // Read by others only after troubled_ was seen or the thread was joined.
  void note_trouble(const std::string& what) {
    if (!troubled_) {
      trouble_ = what;
      troubled_ = true;
    }
  }

  FilterDestinationSetup setup_;
  SheetPlace place_;
  OutputFile output_;
  Pipe raster_;
  Pipe stream_;
  pid_t filter_ = -1;
  std::thread reader_;
  std::optional<RasterWriter> writer_;
  std::string trouble_;
  std::atomic<bool> troubled_ = false;
  int pages_ = 0;
  int pages_made_ = 0;
};

}  // namespace

std::unique_ptr<Destination> make_filter_destination(FilterDestinationSetup setup) {
  return std::make_unique<FilterDestination>(std::move(setup));
}
