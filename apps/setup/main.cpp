// k905-setup: makes print queues for the K905, RV-40, RV-40W and RS-30, and finds what prevents one
// from printing without an error message.
#include <algorithm>
#include <cstdio>

#include "apps/base/program.h"
#include "apps/setup/check.h"
#include "apps/setup/installation.h"
#include "apps/setup/make_class.h"
#include "apps/setup/make_queue.h"
#include "apps/setup/sharing.h"
#include "paper/paper_table.h"

namespace {

using namespace k905;

constexpr char kNoScheduler[] = "the scheduler is not running";
constexpr char kStartScheduler[] = "the scheduler is not running; start it: systemctl start cups";

struct Arguments {
  std::string queue;
  std::string device;
  std::string model = "K905";
  std::string paper = "6x4";
  std::string finish = "Glossy";
  std::string ribbon = "Auto";
  std::vector<std::string> options;
  std::string class_name;
  std::vector<std::string> members;
  bool keep_device = false;
  bool replace = false;
  bool check = false;
  bool update = false;
  bool all = false;
  bool list = false;
  bool json = false;
  bool share = false;
  bool no_share = false;

  [[nodiscard]] Share sharing() const {
    return share || no_share ? std::optional(share) : std::nullopt;
  }
};

void describe_queue_options(CLI::App& app, Arguments& arguments) {
  app.add_option("--device", arguments.device,
                 "address of the printer, such as k905://usb/SERIAL or k905://ADDRESS:9100; the "
                 "default is the "
                 "connected printer");
  app.add_option("--model", arguments.model, "printer model")
      ->transform(CLI::IsMember({"K905", "RV-40", "RV-40W", "RS-30"}, CLI::ignore_case))
      ->capture_default_str();
  app.add_option("--paper", arguments.paper,
                 "paper, by any usual name, such as 6x4, 10x15 or w288h432; see --list")
      ->capture_default_str();
  app.add_option("--finish", arguments.finish, "overcoat")
      ->transform(CLI::IsMember({"Glossy", "Matte"}, CLI::ignore_case))
      ->capture_default_str();
  app.add_option(
         "--ribbon", arguments.ribbon,
         "loaded ribbon; with 6x8, two 6x4 pages share a sheet; with Auto, the printer is asked")
      ->transform(CLI::IsMember({"6x4", "6x8", "Auto"}, CLI::ignore_case))
      ->capture_default_str();
  app.add_option("-o", arguments.options,
                 "OPTION=CHOICE: any other default of the queue, as for lpadmin")
      ->allow_extra_args(false);
  app.add_flag("--replace", arguments.replace,
               "give an existing queue this device (without --device: its own) and these defaults; "
               "its jobs stay");
  auto* share = app.add_flag("--share", arguments.share,
                             "offer the queue or class to phones, tablets and other computers, and "
                             "make the scheduler serve the local networks");
  app.add_flag("--no-share", arguments.no_share, "do not offer the queue or class any more")
      ->excludes(share);
}

void describe_options(CLI::App& app, Arguments& arguments) {
  app.add_option("QUEUE", arguments.queue, "the queue to make, check or update");
  describe_queue_options(app, arguments);
  auto* check =
      app.add_flag("--check", arguments.check, "only check the queue or class; change nothing");
  auto* update = app.add_flag("--update", arguments.update,
                              "give the queue the PPD file of this version and move it to the "
                              "backend k905; defaults and jobs stay; then check it");
  app.add_flag("--keep-device", arguments.keep_device,
               "keep the device address, even if the backend k905 can reach the printer");
  app.add_flag("--all", arguments.all, "with --update: all queues of this printer")->needs(update);
  auto* make_class =
      app.add_option("--class", arguments.class_name,
                     "make a class, which prints a job on any of its members that is "
                     "idle; with --replace change an existing class, with --update "
                     "update it and its members");
  app.add_option("--member", arguments.members,
                 "a member of the class; give the option once for each")
      ->allow_extra_args(false)
      ->needs(make_class);
  auto* list = app.add_flag("--list", arguments.list, "show models, papers and connected devices");
  app.add_flag("--json", arguments.json, "print the findings as JSON, one line for each queue")
      ->excludes(list);
  check->excludes(update)->excludes(list);
  update->excludes(list);
  make_class->excludes(check)->excludes(list);
  app.footer(
      "Exit status: 0 ready to print, 1 a problem was found or an error occurred, 2 wrong usage.");
}

void show(const std::string& queue, const Findings& findings, bool json) {
  std::fputs((json ? as_json(queue, findings) : as_text(queue, findings)).c_str(), stdout);
}

int check(Scheduler& scheduler, bool connected, const std::string& queue, bool json,
          Findings findings = {}) {
  check_programs(findings);
  if (connected) {
    check_queue(scheduler, queue, findings);
  } else {
    findings.problem(kNoScheduler, "systemctl start cups");
  }
  show(queue, findings, json);
  return findings.problems() == 0 ? 0 : kExitFailed;
}

int list(Scheduler& scheduler, bool connected) {
  std::puts("Models:");
  for (const ppd::Model& model : ppd::models) {
    std::printf("  %s\n", model.name);
  }
  std::puts("Papers:");
  for (const ppd::PaperText& paper : ppd::paper_texts) {
    std::printf("  %-14s %-7s %s\n", paper.ppd_name, find_paper_by_ppd_name(paper.ppd_name)->label,
                paper.text);
  }
  std::puts("Connected devices:");
  std::vector<ConnectedDevice> devices;
  const auto reason =
      connected ? scheduler.list_devices("", devices) : std::string("not known: ") + kNoScheduler;
  for (const bool ours : {true, false}) {
    for (const ConnectedDevice& device : devices) {
      if ((scheme_of(device.uri) == "k905") == ours) {
        std::printf("  %s\n", device.uri.c_str());
      }
    }
  }
  if (devices.empty()) {
    std::printf("  %s\n", reason ? reason->c_str() : "none");
  }
  return 0;
}

// `findings`: what was changed before the error.
int failed(const CLI::App& app, const Arguments& arguments, const std::string& name,
           const std::string& problem, Findings findings = {}) {
  if (arguments.json && !name.empty()) {
    findings.problem(problem, "");
    show(name, findings, true);
  } else if (!arguments.json) {
    std::fputs(lines_of(findings).c_str(), stdout);
  }
  report_error(app, problem);
  return kExitFailed;
}

// After a change of a queue or class.
int finish(const CLI::App& app, Scheduler& scheduler, const Arguments& arguments,
           const std::string& name, const std::optional<std::string>& problem,
           const Findings& findings) {
  return problem ? failed(app, arguments, name, *problem, findings)
                 : check(scheduler, true, name, arguments.json, findings);
}

int update(const CLI::App& app, Scheduler& scheduler, const Arguments& arguments) {
  const std::vector<std::string> queues =
      arguments.all ? queues_of_this_printer(scheduler) : std::vector{arguments.queue};
  if (queues.empty()) {
    report_error(app, "there is no queue for this printer");
    return 0;
  }
  int status = 0;
  for (const std::string& queue : queues) {
    Findings findings;
    const auto problem =
        update_queue(scheduler, queue, arguments.keep_device, arguments.sharing(), findings);
    status = std::max(status, finish(app, scheduler, arguments, queue, problem, findings));
  }
  return status;
}

// The defaults from the command line, or the error.
std::optional<std::string> read_options(const Arguments& arguments, QueueOptions& options) {
  options.model = find_model(arguments.model);
  std::vector<std::string> all{"PageSize=" + arguments.paper, "StpLaminate=" + arguments.finish,
                               "K905Ribbon=" + arguments.ribbon};
  all.insert(all.end(), arguments.options.begin(), arguments.options.end());
  for (const std::string& option : all) {
    if (auto problem = add_option(options, option)) {
      return problem;
    }
  }
  Choices choices = options.choices;
  std::string error;
  return apply_cut(choices, error) ? std::nullopt : std::optional(error);
}

int make(const CLI::App& app, Scheduler& scheduler, const Arguments& arguments,
         const QueueOptions& options) {
  Findings findings;
  const auto problem = make_queue(scheduler,
                                  {.queue = arguments.queue,
                                   .device = arguments.device,
                                   .keep_device = arguments.keep_device,
                                   .replace = arguments.replace,
                                   .share = arguments.sharing(),
                                   .options = options},
                                  findings);
  return finish(app, scheduler, arguments, arguments.queue, problem, findings);
}

int make_class(const CLI::App& app, Scheduler& scheduler, const Arguments& arguments) {
  Findings findings;
  const auto problem = make_class(scheduler,
                                  {.name = arguments.class_name,
                                   .members = arguments.members,
                                   .replace = arguments.replace,
                                   .update = arguments.update,
                                   .share = arguments.sharing()},
                                  findings);
  return finish(app, scheduler, arguments, arguments.class_name, problem, findings);
}

int run_class(const CLI::App& app, const Arguments& arguments) {
  for (const char* name :
       {"QUEUE", "--device", "--model", "--paper", "--finish", "--ribbon", "-o", "--keep-device"}) {
    if (app.count(name) > 0) {
      return wrong_usage(
          app, std::string(name) + " is not an option for a class; set it for its members");
    }
  }
  if (arguments.all) {
    return wrong_usage(app, "--all is for queues; --class names the class to update");
  }
  if (arguments.members.empty() && !arguments.update) {
    return wrong_usage(app, "--class needs --member QUEUE");
  }
  Scheduler scheduler;
  if (!scheduler.connect()) {
    return failed(app, arguments, arguments.class_name, kStartScheduler);
  }
  return make_class(app, scheduler, arguments);
}

int run(const CLI::App& app, const Arguments& arguments) {
  if (!arguments.class_name.empty()) {
    return run_class(app, arguments);
  }
  const bool makes = !arguments.check && !arguments.update && !arguments.list;
  for (const char* name :
       {"--device", "--model", "--paper", "--finish", "--ribbon", "-o", "--replace"}) {
    if (!makes && app.count(name) > 0) {
      return wrong_usage(app, std::string(name) + " is an option for making a queue");
    }
  }
  QueueOptions options;
  if (const auto problem = read_options(arguments, options)) {
    return wrong_usage(app, *problem);
  }
  if (arguments.queue.empty() != (arguments.list || arguments.all)) {
    return wrong_usage(app,
                       arguments.queue.empty() ? "QUEUE is missing" : "this option takes no QUEUE");
  }
  if (arguments.sharing() && !arguments.update && !makes) {
    return wrong_usage(app, "--share and --no-share are options for making and updating a queue");
  }
  if (arguments.sharing() && std::ranges::any_of(options.attributes, [](const auto& attribute) {
        return attribute.first == "printer-is-shared";
      })) {
    return wrong_usage(app, "--share and -o printer-is-shared are the same");
  }
  if (arguments.keep_device && !arguments.update && !makes) {
    return wrong_usage(app, "--keep-device is an option for making and updating a queue");
  }
  if (arguments.keep_device && makes && arguments.device.empty() && !arguments.replace) {
    return wrong_usage(app, "--keep-device needs --device URI");
  }
  Scheduler scheduler;
  const bool connected = scheduler.connect();
  if (arguments.list) {
    return list(scheduler, connected);
  }
  if (arguments.check) {
    return check(scheduler, connected, arguments.queue, arguments.json);
  }
  if (!connected) {
    return failed(app, arguments, arguments.queue, kStartScheduler);
  }
  return arguments.update ? update(app, scheduler, arguments)
                          : make(app, scheduler, arguments, options);
}

int setup_program(int argc, char** argv) {
  CLI::App app("Makes and checks print queues for the K905, RV-40, RV-40W and RS-30.",
               "k905-setup");
  Arguments arguments;
  describe_options(app, arguments);
  if (const auto status = parse_command_line(app, argc, argv)) {
    return *status;
  }
  return run(app, arguments);
}

}  // namespace

int main(int argc, char** argv) { return guarded_main("k905-setup", setup_program, argc, argv); }
