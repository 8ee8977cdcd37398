// k905-status: how a printer is, for people, scripts and monitors.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "apps/base/program.h"
#include "apps/status/show_state.h"

namespace {

struct Wishes {
  std::string device = "/dev/usb/lp0";
  double watch_seconds = 0;
  double limit_seconds = 0;
  bool json = false;
  bool wait_ready = false;
};

// CLI::Range lets "nan" pass, which is neither below nor above a limit.
CLI::Validator seconds_between(double least, double most) {
  const auto check = [least, most](const std::string& text) -> std::string {
    char* end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    if (!text.empty() && *end == '\0' && seconds >= least && seconds <= most) {
      return "";
    }
    char limits[64];
    std::snprintf(limits, sizeof limits, "' is not a number from %g to %.0f", least, most);
    return "'" + text + limits;
  };
  return {check, ""};
}

void describe_options(CLI::App& app, Wishes& wishes) {
  app.add_option("DEVICE", wishes.device, "the printer's device file")->capture_default_str();
  app.add_flag("-j,--json", wishes.json, "a line of JSON instead of text");
  app.add_option("-w,--watch", wishes.watch_seconds, "ask again and again, so many seconds apart")
      ->check(seconds_between(0.1, 86400));
  auto* wait =
      app.add_flag("--wait-ready", wishes.wait_ready, "wait until the printer is ready, then tell");
  app.add_option("--timeout", wishes.limit_seconds,
                 "with --wait-ready: wait so many seconds at most")
      ->needs(wait)
      ->check(seconds_between(0, 31536000));
  app.footer(
      "Exit status: 0 ready or busy, 1 needs a person, 2 not reachable or wrong usage, 3 in use by "
      "the print system.");
}

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

void show(const PrinterState& printer, bool json) {
  std::fputs((json ? as_json(printer) : as_text(printer)).c_str(), stdout);
  std::fflush(stdout);
}

int watch(const Wishes& wishes) {
  for (;;) {
    show(ask_printer(wishes.device), wishes.json);
    std::this_thread::sleep_for(Seconds(wishes.watch_seconds));
  }
}

const std::string& why(const PrinterState& printer) {
  return printer.message.empty() ? printer.report.status_text : printer.message;
}

int wait_until_ready(const CLI::App& app, const Wishes& wishes) {
  const Seconds pause(wishes.watch_seconds > 0 ? wishes.watch_seconds : 5);
  const Clock::time_point begin = Clock::now();
  std::string told;
  for (;;) {
    const PrinterState printer = ask_printer(wishes.device);
    const bool ready = printer.state == State::ready;
    const Seconds waited = Clock::now() - begin;
    const bool too_late =
        wishes.limit_seconds > 0 && waited + pause > Seconds(wishes.limit_seconds);
    if (ready || too_late) {
      show(printer, wishes.json);
      // A busy printer is fine, but it is not what was waited for.
      return ready ? 0 : std::max(1, names_of(printer.state).exit_status);
    }
    if (why(printer) != told) {
      told = why(printer);
      complain(app, "waiting: " + told);
    }
    std::this_thread::sleep_for(pause);
  }
}

int run(const CLI::App& app, const Wishes& wishes) {
  if (wishes.wait_ready) {
    return wait_until_ready(app, wishes);
  }
  if (wishes.watch_seconds > 0) {
    return watch(wishes);
  }
  const PrinterState printer = ask_printer(wishes.device);
  show(printer, wishes.json);
  return names_of(printer.state).exit_status;
}

int status_program(int argc, char** argv) {
  CLI::App app("Tells how a K905 or one of its siblings is.", "k905-status");
  Wishes wishes;
  describe_options(app, wishes);
  const auto status = parse_command_line(app, argc, argv);
  return status ? *status : run(app, wishes);
}

}  // namespace

int main(int argc, char** argv) { return guarded_main("k905-status", status_program, argc, argv); }
