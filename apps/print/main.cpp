// k905-print: photos straight to the sheet, through a queue or through the filter without one.
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "apps/base/find_filter.h"
#include "apps/base/program.h"
#include "apps/base/text.h"
#include "apps/image/sheet_picture.h"
#include "apps/image/write_png.h"
#include "apps/layout/page_in_child.h"
#include "apps/print/filter_destination.h"
#include "apps/print/history.h"
#include "apps/print/printer_destination.h"
#include "apps/print/queue_destination.h"
#include "apps/print/sheet_printer.h"
#include "apps/print/watch_job.h"

namespace {

struct Wishes {
  std::vector<std::string> pictures;
  std::string queue;
  std::string to;
  std::string preview;
  std::string folder;
  std::string ledger;
  std::int64_t reprint = 0;
  int limit = 0;
  std::optional<int> timeout;
  bool history = false;
  bool new_only = false;
  bool move = false;
  std::string paper;
  std::string finish;
  std::string brightness;
  std::string contrast;
  std::string saturation;
  std::string gamma;
  std::vector<std::string> options;
  int copies = 1;
  bool two_up = false;
  bool whole = false;
  bool no_turn = false;
  bool verbose = false;
};

void describe_destinations(CLI::App& app, Wishes& wishes) {
  auto* queue = app.add_option("-q,--queue", wishes.queue,
                               "print through this queue of CUPS; without a destination through "
                               "the user's default queue");
  auto* to = app.add_option(
      "--to", wishes.to,
      "print without CUPS: to a device such as /dev/usb/lp0 or k905://usb/SERIAL, or "
      "into a file");
  app.add_option("--timeout", wishes.timeout,
                 "with --to DEVICE: at most so many seconds for a printer that is not ready; "
                 "otherwise as long as it takes")
      ->check(CLI::Range(0, 1000000));
  auto* preview = app.add_option("--preview", wishes.preview,
                                 "print nothing, show the sheet in this PNG file; the second "
                                 "sheet's name gets a \"-2\", and so on");
  queue->excludes(to);
  to->excludes(preview);
}

void describe_choices(CLI::App& app, Wishes& wishes) {
  app.add_option("-p,--paper", wishes.paper, "paper, by either of its names (w288h432 or 6x4)");
  app.add_option("-f,--finish", wishes.finish, "overcoat")
      ->transform(CLI::IsMember({"Glossy", "Matte"}, CLI::ignore_case));
  app.add_option("-n,--copies", wishes.copies, "sheets of each picture")
      ->check(CLI::Range(1, 999))
      ->capture_default_str();
  app.add_option("--brightness", wishes.brightness, "-500 to 500 in steps of 50: -50 % to +50 %");
  app.add_option("--contrast", wishes.contrast, "the same");
  app.add_option("--saturation", wishes.saturation, "the same");
  app.add_option("--gamma", wishes.gamma, "500 (darker) to 2200 (lighter); 1000 would be as sent");
  app.add_option("-o,--option", wishes.options,
                 "KEYWORD=CHOICE: any other choice of the print dialog, as for lp; see "
                 "k905-print(1)")
      ->allow_extra_args(false);
  app.add_flag("--two-up", wishes.two_up, "two 6x4 pictures share a sheet of a 6x8 ribbon");
  app.add_flag("--fit", wishes.whole,
               "keep all of the picture on white; otherwise it is cropped to the sheet's shape");
  app.add_flag("--no-turn", wishes.no_turn,
               "do not turn the picture by a quarter where the sheet's shape asks for it");
}

void describe_watching(CLI::App& app, Wishes& wishes) {
  app.add_option("--watch", wishes.folder,
                 "print the photos of this folder and whatever is put there, each once, also after "
                 "a restart");
  app.add_option("--limit", wishes.limit, "with --watch: at most so many sheets in a day")
      ->check(CLI::Range(1, 1000000));
  app.add_flag("--new-only", wishes.new_only,
               "with --watch: leave what is in the folder when it is watched for the first time");
  app.add_flag("--move", wishes.move,
               "with --watch: move files to the folder's own printed/ and failed/ when they are "
               "done");
  app.add_flag("--history", wishes.history, "list the sheets of watched folders");
  app.add_option("--reprint", wishes.reprint, "print this sheet of the history again")
      ->check(CLI::PositiveNumber);
  app.add_option("--ledger,--journal", wishes.ledger,
                 "file that notes which sheets of watched folders were printed");
}

void describe_options(CLI::App& app, Wishes& wishes) {
  app.add_option("PICTURE", wishes.pictures,
                 "photos: JPEG, PNG, TIFF, WebP, HEIC, AVIF, GIF or PPM; \"-\" is standard input");
  describe_destinations(app, wishes);
  describe_choices(app, wishes);
  describe_watching(app, wishes);
  app.add_flag("-v,--verbose", wishes.verbose, "show the filter's log (with --to or --preview)");
}

// Adds the choice when it is one; otherwise what is wrong.
std::optional<std::string> choose(Choices& choices, const std::string& keyword,
                                  const std::string& choice) {
  std::string error;
  if (!check_choice(keyword, choice, error)) {
    return error;
  }
  choices[keyword] = choice;
  return std::nullopt;
}

std::optional<std::string> choose_paper(Choices& choices, const std::string& paper) {
  const std::string name = page_size_name(paper);
  if (name.empty()) {
    return unknown_paper(paper);
  }
  choices["PageSize"] = name;
  return std::nullopt;
}

std::optional<std::string> choose_option(Choices& choices, const std::string& option) {
  const std::size_t equals = option.find('=');
  if (equals == std::string::npos) {
    return "not KEYWORD=CHOICE: \"" + option + "\"";
  }
  const std::string keyword = option.substr(0, equals);
  const std::string choice = option.substr(equals + 1);
  return keyword == "PageSize" ? choose_paper(choices, choice) : choose(choices, keyword, choice);
}

// The word that neutral has in the table.
std::string gamma_choice(const std::string& gamma) { return gamma == "1000" ? "None" : gamma; }
std::string gain_choice(const std::string& gain) { return gain == "0" ? "None" : gain; }

// Null when all is well, otherwise what is wrong with the wishes.
std::optional<std::string> collect_choices(const Wishes& wishes, Choices& choices) {
  for (const std::string& option : wishes.options) {
    if (auto problem = choose_option(choices, option)) {
      return problem;
    }
  }
  if (!wishes.paper.empty()) {
    if (auto problem = choose_paper(choices, wishes.paper)) {
      return problem;
    }
  }
  const std::pair<const char*, std::string> named[] = {
      {"StpLaminate", wishes.finish},
      {"StpBrightness", gain_choice(wishes.brightness)},
      {"StpContrast", gain_choice(wishes.contrast)},
      {"StpSaturation", gain_choice(wishes.saturation)},
      {"StpGamma", gamma_choice(wishes.gamma)},
      {"K905Ribbon", wishes.two_up ? "6x8" : ""}};
  for (const auto& [keyword, choice] : named) {
    if (!choice.empty()) {
      if (auto problem = choose(choices, keyword, choice)) {
        return problem;
      }
    }
  }
  return std::nullopt;
}

bool is_two_up_paper(const std::string& page_size) { return page_size == "w288h432"; }

std::optional<std::string> check_wishes(const Wishes& wishes) {
  const int tasks = (wishes.pictures.empty() ? 0 : 1) + (wishes.folder.empty() ? 0 : 1) +
                    (wishes.history ? 1 : 0) + (wishes.reprint != 0 ? 1 : 0);
  if (tasks != 1) {
    return tasks == 0 ? "no picture given"
                      : "pictures, --watch, --history and --reprint exclude each other";
  }
  if (wishes.folder.empty() && (wishes.limit != 0 || wishes.new_only || wishes.move)) {
    return "--limit, --new-only and --move need --watch";
  }
  if (wishes.timeout && (wishes.to.empty() || !wishes.folder.empty())) {
    return "--timeout is for --to DEVICE; a watched folder waits as long as it takes";
  }
  if (!wishes.ledger.empty() && !wishes.pictures.empty()) {
    return "--ledger is for --watch, --history and --reprint";
  }
  if (wishes.reprint != 0 && !wishes.preview.empty()) {
    return "--reprint prints; it shows no preview";
  }
  if (!wishes.folder.empty() && !wishes.preview.empty()) {
    return "--watch prints; it shows no preview";
  }
  struct stat status {};
  if (!wishes.folder.empty() &&
      (stat(wishes.folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode))) {
    return "--watch: no folder: " + wishes.folder;
  }
  return std::nullopt;
}

// "sheet.png", "sheet-2.png" and so on.
class SheetPictures {
 public:
  explicit SheetPictures(std::string name) : name_(std::move(name)) {}

  std::string write(const Sheet& sheet, bool fine) {
    const std::string file = next_name();
    std::string error;
    if (!write_png(file, sheet_picture(sheet, Mirror::undo), {300, fine ? 600 : 300}, error)) {
      return file + ": " + error;
    }
    files_.push_back(file);
    return "";
  }
  [[nodiscard]] const std::vector<std::string>& files() const { return files_; }

 private:
  [[nodiscard]] std::string next_name() const {
    if (files_.empty()) {
      return name_;
    }
    const std::string number = "-" + std::to_string(files_.size() + 1);
    const std::size_t dot = name_.rfind('.');
    const std::size_t slash = name_.rfind('/');
    const bool has_ending = dot != std::string::npos && (slash == std::string::npos || dot > slash);
    return has_ending ? name_.substr(0, dot) + number + name_.substr(dot) : name_ + number;
  }

  std::string name_;
  std::vector<std::string> files_;
};

class PrintProgram {
 public:
  PrintProgram(const CLI::App& app, const Wishes& wishes)
      : app_(app),
        wishes_(wishes),
        progress_("picture", static_cast<int>(wishes.pictures.size())),
        previews_(wishes.preview),
        queue_(wishes.queue),
        to_(wishes.to) {}

  int run() {
    Choices choices;
    std::optional<std::string> problem = check_wishes(wishes_);
    std::string wrong_device;
    if (!problem && !k905::printer_named(to_, printer_, wrong_device)) {
      problem = wrong_device;
    }
    if (!problem) {
      problem = collect_choices(wishes_, choices);
    }
    if (problem) {
      return wrong_usage(app_, *problem);
    }
    setup_.preparation = {wishes_.whole, !wishes_.no_turn};
    if (wishes_.history) {
      return show_history();
    }
    if ((wishes_.reprint != 0 && !find_reprint(choices)) || !open_destination(choices)) {
      return kExitFailed;
    }
    if (wishes_.two_up && !is_two_up_paper(setup_.destination->choices().at("PageSize"))) {
      return wrong_usage(app_, "--two-up is for 6x4 pictures; choose --paper 6x4");
    }
    setup_.copies = wishes_.copies;
    stop_on_signals();
    return !wishes_.folder.empty() ? watch() : wishes_.reprint != 0 ? reprint() : print_pictures();
  }

 private:
  [[nodiscard]] bool wants_queue() const { return to_.empty() && wishes_.preview.empty(); }

  bool open_destination(const Choices& wished) {
    std::string error;
    Choices choices = default_choices();
    if (wants_queue() || !queue_.empty()) {
      destination_ = make_queue_destination(queue_, wished, error);
      if (!destination_) {
        say_wrong(error);
        return false;
      }
      choices = destination_->choices();
    }
    for (const auto& [keyword, choice] : wished) {
      choices[keyword] = choice;
    }
    if (!apply_cut(choices, error)) {
      say_wrong(error);
      return false;
    }
    if (!wants_queue() && !open_filter(choices)) {
      return false;
    }
    setup_.destination = destination_.get();
    return true;
  }

  bool open_filter(const Choices& choices) {
    FilterDestinationSetup setup;
    setup.choices = choices;
    setup.filter = find_filter();
    if (setup.filter.empty()) {
      say_wrong("the filter rastertok905 is nowhere to be found; K905_FILTER can name it");
      return false;
    }
    setup.to = to_;
    setup.append = wishes_.pictures.empty();
    setup.show_log = wishes_.verbose;
    if (!wishes_.preview.empty()) {
      const bool fine = sheet_place(choices).fine;
      setup.on_sheet = [this, fine](const Sheet& sheet) { return previews_.write(sheet, fine); };
    }
    if (printer_) {
      setup.to.clear();
      set_waits(*printer_);
      destination_ = k905::make_printer_destination(std::move(setup), *printer_, target_of(to_));
    } else {
      destination_ = make_filter_destination(std::move(setup));
    }
    return true;
  }

  void set_waits(k905::PrinterOutputSetup& printer) {
    using std::chrono::seconds;
    const auto limit = wishes_.timeout ? std::optional(seconds(*wishes_.timeout)) : std::nullopt;
    // A watched folder asks the printer before it reads a photo, and waits there.
    printer.before_sheet = wishes_.folder.empty() ? limit : seconds(0);
    printer.after_sheet = limit;
    printer.must_be_connected = !limit;
    printer.say = wrong_sayer();
    printer.is_stopped = stop_asked;
  }

  // Whoever reads the ledger may be in another folder.
  static std::string target_of(const std::string& to) {
    return to.starts_with("k905:") ? to : std::filesystem::absolute(to).string();
  }

  // A queue and a printer get a job for each picture: one that goes wrong takes no other along.
  // Into a file one run of the filter prints all; two pictures for one sheet must be in one job
  // anyway.
  int print_pictures() {
    const bool one_job = (!wants_queue() && !printer_) || wishes_.two_up;
    const std::vector<std::string>& pictures = wishes_.pictures;
    const std::size_t at_once = one_job ? pictures.size() : 1;
    bool all_printed = true;
    for (std::size_t i = 0; i < pictures.size(); i += at_once) {
      if (stop_asked()) {
        say_wrong("stopped; not printed: " + pictures[i] +
                  (i + 1 < pictures.size() ? " and what follows" : ""));
        return kExitFailed;
      }
      const std::vector<std::string> files(
          pictures.begin() + static_cast<std::ptrdiff_t>(i),
          pictures.begin() + static_cast<std::ptrdiff_t>(i + at_once));
      all_printed = print(files, static_cast<int>(i)) && all_printed;
    }
    return all_printed ? 0 : kExitFailed;
  }

  bool print(const std::vector<std::string>& files, int done) {
    const JobResult result = print_job(setup_, files, progress_, done,
                                       [this](const std::string& words) { say_wrong(words); });
    for (std::size_t i = 0; i < files.size(); ++i) {
      if (result.taken && result.outcomes[i] == PictureOutcome::sent && !result.word.empty()) {
        say(files[i] + " -> " + result.word);
      }
      if (result.taken && result.outcomes[i] == PictureOutcome::not_reached) {
        say_wrong("stopped; not printed: " + files[i]);
      }
    }
    for (const std::string& file : previews_.files()) {
      say(file);
    }
    return result.all_printed();
  }

  // The ledger's place; "" after an error was reported.
  std::string ledger_path() {
    std::string error;
    std::string path = wishes_.ledger.empty() ? usual_ledger(error) : wishes_.ledger;
    if (path.empty()) {
      say_wrong(error);
    }
    return path;
  }

  WatchSetup watch_setup(const std::string& folder) {
    return {.job = setup_,
            .folder = folder,
            .ledger = ledger_path(),
            .two_up = wishes_.two_up,
            .limit = wishes_.limit,
            .new_only = wishes_.new_only,
            .move = wishes_.move};
  }

  int watch() {
    const WatchSetup setup = watch_setup(wishes_.folder);
    return setup.ledger.empty() ? kExitFailed : watch_folder(setup, wrong_sayer(), sayer());
  }

  int show_history() {
    Ledger ledger;
    if (!open(ledger)) {
      return kExitFailed;
    }
    std::fputs(history_text(ledger).c_str(), stdout);
    return std::fflush(stdout) == 0 ? 0 : kExitFailed;
  }

  bool open(Ledger& ledger) {
    const std::string path = ledger_path();
    std::string error;
    if (path.empty() || ledger.open(path, error)) {
      return !path.empty();
    }
    say_wrong(error);
    return false;
  }

  // The sheet as it was printed, but for what the command line says otherwise.
  bool find_reprint(Choices& choices) {
    Ledger ledger;
    if (!open(ledger)) {
      return false;
    }
    again_ = ledger.find_sheet(wishes_.reprint);
    if (!again_) {
      say_wrong("no sheet has the number " + std::to_string(wishes_.reprint) +
                "; see k905-print --history");
      return false;
    }
    add_settings(again_->target.settings, choices, setup_.preparation);
    if (queue_.empty() && to_.empty()) {
      queue_ = again_->target.queue;
      to_ = again_->target.device;
      std::string error;
      if (!k905::printer_named(to_, printer_, error)) {
        say_wrong(error);
        return false;
      }
    }
    return true;
  }

  int reprint() {
    std::string error;
    {
      Ledger ledger;
      if (!open(ledger)) {
        return kExitFailed;
      }
      again_ = order_again(ledger, *again_, error);
    }
    if (!again_) {
      say_wrong(error);
      return kExitFailed;
    }
    return print_waiting(watch_setup(again_->folder), again_->name, wrong_sayer(), sayer());
  }

  Complaint sayer() {
    return [this](const std::string& words) { say(words); };
  }
  Complaint wrong_sayer() {
    return [this](const std::string& words) { say_wrong(words); };
  }

  // The names of files are anybody's; a terminal obeys what they may hold.
  static std::string plain(const std::string& words) {
    constexpr std::size_t longest = 5000;
    return one_line_of_text(words, longest);
  }

  void say(const std::string& words) {
    progress_.wipe();
    std::printf("%s\n", plain(words).c_str());
    std::fflush(stdout);
  }

  void say_wrong(const std::string& words) {
    progress_.wipe();
    complain(app_, plain(words));
  }

  const CLI::App& app_;
  const Wishes& wishes_;
  Progress progress_;
  SheetPictures previews_;
  std::string queue_;
  std::string to_;
  std::optional<SheetEntry> again_;                  // the sheet that is printed again
  std::optional<k905::PrinterOutputSetup> printer_;  // the printer that to_ names
  std::unique_ptr<Destination> destination_;
  JobSetup setup_;
};

int print_program(int argc, char** argv) {
  CLI::App app("Prints photos on the K905 and its siblings, cropped to the sheet.", "k905-print");
  Wishes wishes;
  describe_options(app, wishes);
  const auto status = parse_command_line(app, argc, argv);
  return status ? *status : PrintProgram(app, wishes).run();
}

}  // namespace

int main(int argc, char** argv) {
  if (const auto status = k905::make_page_as_child(argc, argv)) {
    return *status;
  }
  return guarded_main("k905-print", print_program, argc, argv);
}
