// k905-setup: makes print queues for the K905, RV-40, RV-40W and RS-30, and checks a queue for
// problems that prevent printing without an error message.
#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "apps/base/program.h"
#include "apps/setup/check.h"
#include "apps/setup/installation.h"
#include "apps/setup/make_class.h"
#include "apps/setup/make_queue.h"
#include "paper/paper_table.h"

namespace {

using namespace k905;

constexpr char kNoScheduler[] = "the scheduler is not running";
constexpr char kStartScheduler[] = "the scheduler is not running; start it: systemctl start cups";

struct Arguments {
  QueuePlan plan;
  std::string model = "K905";
  std::string paper = "6x4";
  std::string finish = "Glossy";
  std::string ribbon = "Auto";
  std::vector<std::string> options;
  bool check = false;
  bool all = false;
  bool list = false;
  bool json = false;
};

void describe_queue_options(CLI::App& app, Arguments& arguments) {
  app.add_option("--device", arguments.plan.device,
                 "address of the printer, such as k905://usb/SERIAL or k905://ADDRESS:9100; the "
                 "default is the connected printer");
  app.add_option("--model", arguments.model, "printer model")
      ->transform(CLI::IsMember({"K905", "RV-40", "RV-40W", "RS-30"}, CLI::ignore_case))
      ->capture_default_str();
  app.add_option("--paper", arguments.paper,
                 "paper, by any usual name, such as 6x4, 10x15 or w288h432; see --list")
      ->capture_default_str();
  app.add_option("--finish", arguments.finish, "finish of the prints")
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
  app.add_flag(
      "--replace", arguments.plan.replace,
      "change an existing queue: it gets this device (without --device it keeps its own) and "
      "these defaults, and keeps its jobs");
  Share& sharing = arguments.plan.share;
  auto* share = app.add_flag_callback(
      "--share", [&sharing] { sharing = true; },
      "offer the queue or class to phones, tablets and other computers, and make the scheduler "
      "serve the local networks");
  app.add_flag_callback(
         "--no-share", [&sharing] { sharing = false; }, "do not offer the queue or class any more")
      ->excludes(share);
}

void describe_options(CLI::App& app, Arguments& arguments) {
  app.add_option("QUEUE", arguments.plan.name, "the queue to make, check or update");
  describe_queue_options(app, arguments);
  auto* check =
      app.add_flag("--check", arguments.check, "only check the queue or class; change nothing");
  auto* update = app.add_flag("--update", arguments.plan.update,
                              "give the queue the PPD file of this version and move it to the "
                              "backend k905; defaults and jobs stay; then check it");
  app.add_flag("--keep-device", arguments.plan.keep_device,
               "keep the device address, even if the backend k905 can reach the printer");
  app.add_flag("--all", arguments.all, "with --update: all queues of this printer")->needs(update);
  auto* make_class =
      app.add_option("--class", arguments.plan.name,
                     "make a class, which prints a job on any of its members that is "
                     "idle; with --replace change an existing class, with --update "
                     "update it and its members");
  app.add_option("--member", arguments.plan.members,
                 "a member of the class; repeat the option for each member")
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

// Shows the findings before an error that ends the work on a queue, and the error. `name` is "" if
// the error is not about a single queue.
int report_failure(const CLI::App& app, const std::string& name, bool json,
                   const std::string& problem, Findings findings = {}) {
  if (json) {
    findings.problem(problem, "");
    show(name, findings, true);
  } else {
    std::fputs(lines_of(findings).c_str(), stdout);
  }
  print_message(app, problem);
  return kExitFailed;
}

// Runs `work`, which adds findings, and shows them, also those before an error. So an error ends
// the work on one queue only.
template <class Work>
int show_findings_of(const CLI::App& app, const std::string& name, bool json, const Work& work) {
  Findings findings;
  try {
    work(findings);
  } catch (const std::runtime_error& error) {
    return report_failure(app, name, json, error.what(), findings);
  }
  show(name, findings, json);
  return findings.problems() == 0 ? 0 : kExitFailed;
}

int check(const CLI::App& app, Scheduler& scheduler, bool connected, const Arguments& arguments) {
  const std::string& queue = arguments.plan.name;
  return show_findings_of(app, queue, arguments.json, [&](Findings& findings) {
    check_programs(findings);
    if (connected) {
      check_queue(scheduler, queue, findings);
    } else {
      findings.problem(kNoScheduler, "systemctl start cups");
    }
  });
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

// Changes a queue or class, then checks it.
template <class Change>
int change_and_check(const CLI::App& app, Scheduler& scheduler, const std::string& name, bool json,
                     const Change& change) {
  return show_findings_of(app, name, json, [&](Findings& findings) {
    change(findings);
    check_programs(findings);
    check_queue(scheduler, name, findings);
  });
}

int update(const CLI::App& app, Scheduler& scheduler, const Arguments& arguments) {
  const QueuePlan& plan = arguments.plan;
  std::vector<std::string> queues{plan.name};
  if (arguments.all) {
    try {
      queues = queues_of_this_printer(scheduler);
    } catch (const std::runtime_error& error) {
      return report_failure(app, "", arguments.json, error.what());
    }
  }
  if (queues.empty()) {
    print_message(app, "there is no queue for this printer");
    return 0;
  }
  int status = 0;
  for (const std::string& queue : queues) {
    const auto change = [&](Findings& findings) {
      update_queue(scheduler, queue, plan.keep_device, plan.share, findings);
    };
    status = std::max(status, change_and_check(app, scheduler, queue, arguments.json, change));
  }
  return status;
}

// Adds the defaults from the command line to the plan. Returns the error, or nothing.
std::optional<std::string> read_options(Arguments& arguments) {
  QueueOptions& options = arguments.plan.options;
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

int run_class(const CLI::App& app, const Arguments& arguments) {
  if (app.count("QUEUE") > 0) {
    return wrong_usage(app, "--class takes no QUEUE; it names the class itself");
  }
  for (const char* name :
       {"--device", "--model", "--paper", "--finish", "--ribbon", "-o", "--keep-device"}) {
    if (app.count(name) > 0) {
      return wrong_usage(app,
                         std::string(name) + " does not apply to a class; set it for each member");
    }
  }
  const QueuePlan& plan = arguments.plan;
  if (arguments.all) {
    return wrong_usage(app, "--all is for queues; --class names the class to update");
  }
  if (plan.name.empty()) {
    return wrong_usage(app, "--class needs a name");
  }
  if (plan.members.empty() && !plan.update) {
    return wrong_usage(app, "--class needs --member QUEUE");
  }
  Scheduler scheduler;
  if (!scheduler.connect()) {
    return report_failure(app, plan.name, arguments.json, kStartScheduler);
  }
  return change_and_check(app, scheduler, plan.name, arguments.json,
                          [&](Findings& findings) { make_class(scheduler, plan, findings); });
}

int run(const CLI::App& app, Arguments& arguments) {
  if (app.count("--class") > 0) {
    return run_class(app, arguments);
  }
  const QueuePlan& plan = arguments.plan;
  const bool makes_queue = !arguments.check && !plan.update && !arguments.list;
  for (const char* name :
       {"--device", "--model", "--paper", "--finish", "--ribbon", "-o", "--replace"}) {
    if (!makes_queue && app.count(name) > 0) {
      return wrong_usage(app, std::string(name) + " is an option for making a queue");
    }
  }
  if (const auto problem = read_options(arguments)) {
    return wrong_usage(app, *problem);
  }
  if (plan.name.empty() != (arguments.list || arguments.all)) {
    return wrong_usage(app,
                       plan.name.empty() ? "QUEUE is missing" : "--list and --all take no QUEUE");
  }
  if (plan.share && !plan.update && !makes_queue) {
    return wrong_usage(app, "--share and --no-share are options for making and updating a queue");
  }
  if (plan.share && plan.options.attributes.contains("printer-is-shared")) {
    return wrong_usage(app, "give either --share or --no-share, or -o printer-is-shared, not both");
  }
  if (plan.keep_device && !plan.update && !makes_queue) {
    return wrong_usage(app, "--keep-device is an option for making and updating a queue");
  }
  if (plan.keep_device && makes_queue && plan.device.empty() && !plan.replace) {
    return wrong_usage(app, "--keep-device needs --device URI");
  }
  Scheduler scheduler;
  const bool connected = scheduler.connect();
  if (arguments.list) {
    return list(scheduler, connected);
  }
  if (arguments.check) {
    return check(app, scheduler, connected, arguments);
  }
  if (!connected) {
    return report_failure(app, plan.name, arguments.json, kStartScheduler);
  }
  if (plan.update) {
    return update(app, scheduler, arguments);
  }
  return change_and_check(app, scheduler, plan.name, arguments.json,
                          [&](Findings& findings) { make_queue(scheduler, plan, findings); });
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
