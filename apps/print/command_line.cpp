#include "apps/print/command_line.h"

#include <sys/stat.h>

#include <utility>

namespace k905 {

namespace {

constexpr int kMaxNumber = 1000000;

}  // namespace

void describe(CLI::App& app, CommandLineOptions& options) {
  app.add_option("PHOTO", options.photos,
                 "photos: JPEG, PNG, TIFF, WebP, HEIC, AVIF, GIF or PPM; \"-\" is standard input");
  app.add_option("-q,--queue", options.queue,
                 "print through this CUPS queue; without a destination, the user's default queue");
  app.add_option(
      "--to", options.to,
      "print without CUPS: to a device such as /dev/usb/lp0 or k905://usb/SERIAL, or into a file");
  app.add_option("--preview", options.preview,
                 "print nothing; write an image of the sheet to this PNG file; the files of "
                 "further sheets get \"-2\", \"-3\" and so on");
  app.add_flag("--canvas", options.canvas,
               "with --preview: show every pixel that is sent to the printer, including the "
               "margins outside the paper");
  app.add_flag("--wait", options.wait, "with a queue: wait until the photos are printed");
  app.add_option("--timeout", options.timeout,
                 "with --to DEVICE or --wait: stop waiting for the printer after this many "
                 "seconds; the default is no limit")
      ->check(CLI::Range(0, kMaxNumber));
  app.add_flag("--json", options.json,
               "print a line of JSON for each photo, or with --history for each sheet");
  app.add_option("-p,--paper", options.paper,
                 "paper: 6x4, 6x8 and so on, also as 4x6, 10x15 (cm) or w288h432");
  app.add_option("-f,--finish", options.finish, "glossy or matte overcoat")
      ->transform(CLI::IsMember({"Glossy", "Matte"}, CLI::ignore_case));
  app.add_option("-n,--copies", options.copies, "sheets of each photo")
      ->check(CLI::Range(1, 999))
      ->capture_default_str();
  app.add_option("--brightness", options.brightness, "-500 to 500 in steps of 50: -50 % to +50 %");
  app.add_option("--contrast", options.contrast, "as --brightness");
  app.add_option("--saturation", options.saturation, "as --brightness");
  app.add_option("--gamma", options.gamma, "500 (darker) to 2200 (lighter); 1000 is neutral");
  app.add_option(
         "-o,--option", options.choices,
         "KEYWORD=CHOICE: any other option of the print dialog, as for lp; see k905-print(1)")
      ->allow_extra_args(false);
  app.add_option(
         "--layout", options.layout,
         "several photos on a sheet: strips (a photo on each strip; the default for paper 6x2*2 "
         "and 6x2*4; without --paper on 6x2*2), 2x2, or 1+2 (one large and two small); if there "
         "are too few photos, they are repeated; sheet: one photo on the whole sheet")
      ->check(CLI::IsMember({"strips", "2x2", "1+2", "sheet"}));
  app.add_option("--frame", options.frame,
                 "draw this PNG file with transparency over each sheet, scaled to it");
  app.add_option("--caption", options.caption,
                 "write this text at the bottom of each photo; {date} is the day of printing, "
                 "{file} the file's name");
  app.add_flag("--test-page", options.test_page,
               "print a page with rulers that show the physical size and where the paper ends");
  app.add_flag("--two-up", options.two_up,
               "print two 6x4 photos on one 6x8 sheet (needs the 6x8 ribbon)");
  app.add_flag("--fit", options.fit,
               "print the complete photo, with white edges, instead of cropping it to the sheet");
  app.add_flag("--no-turn", options.no_turn,
               "do not rotate photos to the orientation of the sheet");
  app.add_option("--watch", options.folder,
                 "print the photos in this folder and those that are added later, each once, also "
                 "after restarts");
  app.add_option(
         "--limit", options.limit,
         "with --watch: print at most this many sheets per day, or with --event for the event")
      ->check(CLI::Range(1, kMaxNumber));
  app.add_option("--event", options.event,
                 "with --watch: the sheets belong to the event with this name; --limit then counts "
                 "all its sheets, of every day and folder")
      ->check([](const std::string& name) { return name.empty() ? "the event has no name" : ""; });
  app.add_option("--partner-wait", options.partner_wait,
                 "with --two-up and --watch: seconds that a photo waits for another one before it "
                 "is printed alone on its sheet; the default is 60")
      ->check(CLI::Range(0, kMaxNumber));
  app.add_flag("--new-only", options.new_only,
               "with --watch: do not print what is in the folder when it is first watched");
  app.add_flag("--move", options.move,
               "with --watch: move printed and refused files to printed/ and failed/ in the folder "
               "(default)");
  app.add_flag("--leave", options.leave, "with --watch: do not move files");
  app.add_flag("--history", options.history, "list the sheets of watched folders");
  app.add_option("--reprint", options.reprint, "print this sheet of the history again")
      ->check(CLI::PositiveNumber);
  app.add_option("--ledger,--journal", options.ledger,
                 "the ledger: database of the sheets of watched folders");
  app.add_flag("-v,--verbose", options.verbose, "show the filter's log (with --to or --preview)");
  for (const char* other : {"--layout", "PHOTO", "--frame", "--caption"}) {
    app.get_option("--test-page")->excludes(other);
  }
  app.get_option("--canvas")->needs("--preview");
  app.get_option("--queue")->excludes("--to");
  app.get_option("--to")->excludes("--preview");
}

std::optional<std::string> check(const CommandLineOptions& options) {
  const bool prints = !options.photos.empty();
  const bool watches = !options.folder.empty();
  const int tasks = int{prints} + int{watches} + int{options.history} + int{options.reprint != 0};
  struct stat status {};
  const std::pair<bool, std::string> problems[] = {
      {tasks == 0, "no photo given"},
      {tasks > 1, "photos, --watch, --history and --reprint exclude each other"},
      {!watches && (options.limit != 0 || !options.event.empty() || options.new_only ||
                    options.move || options.leave),
       "--limit, --event, --new-only, --move and --leave need --watch"},
      {options.partner_wait && !(watches && options.two_up),
       "--partner-wait needs --two-up and --watch"},
      {options.move && options.leave, "--move and --leave exclude each other"},
      {!options.ledger.empty() && prints, "--ledger is for --watch, --history and --reprint"},
      {options.reprint != 0 && !options.preview.empty(),
       "--reprint and --preview exclude each other"},
      {watches && !options.preview.empty(), "--watch and --preview exclude each other"},
      {options.wait && (!prints || !options.to.empty() || !options.preview.empty()),
       "--wait is for photos that are printed through a queue"},
      {options.timeout && !options.wait && (options.to.empty() || watches),
       "--timeout is for --to DEVICE and for --wait; a watched folder waits without a limit"},
      {watches && (stat(options.folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)),
       "--watch: not a folder: " + options.folder},
  };
  for (const auto& [is_wrong, problem] : problems) {
    if (is_wrong) {
      return problem;
    }
  }
  return std::nullopt;
}

std::optional<std::string> collect_choices(const CommandLineOptions& options, Choices& choices) {
  std::vector<std::pair<std::string, std::string>> named;
  for (const std::string& option : options.choices) {
    const std::size_t equals = option.find('=');
    if (equals == std::string::npos) {
      return "not KEYWORD=CHOICE: \"" + option + "\"";
    }
    named.emplace_back(option.substr(0, equals), option.substr(equals + 1));
  }
  // The table calls a neutral value None.
  const auto none_if = [](const char* neutral, const std::string& value) {
    return value == neutral ? "None" : value;
  };
  const std::pair<const char*, std::string> choices_of_options[] = {
      {"PageSize", options.paper.empty() && options.layout == "strips" ? "6x2*2" : options.paper},
      {"StpLaminate", options.finish},
      {"StpBrightness", none_if("0", options.brightness)},
      {"StpContrast", none_if("0", options.contrast)},
      {"StpSaturation", none_if("0", options.saturation)},
      {"StpGamma", none_if("1000", options.gamma)},
      {"K905Ribbon", options.two_up ? "6x8" : ""}};
  for (const auto& [keyword, choice] : choices_of_options) {
    if (!choice.empty()) {
      named.emplace_back(keyword, choice);
    }
  }
  for (const auto& [keyword, given] : named) {
    std::string choice = given;
    std::string error;
    if (keyword == "PageSize") {
      choice = page_size_name(given);
      error = choice.empty() ? unknown_paper(given) : "";
    } else if (!check_choice(keyword, choice, error)) {
      error = error.empty() ? keyword : error;
    }
    if (!error.empty()) {
      return error;
    }
    choices[keyword] = choice;
  }
  // MediaType is another name of the finish; Auto leaves the finish to the queue.
  const auto type = choices.find("MediaType");
  if (type != choices.end() && type->second != "Auto") {
    choices.emplace("StpLaminate", type->second);
    choices.erase(type);
  }
  return std::nullopt;
}

}  // namespace k905
