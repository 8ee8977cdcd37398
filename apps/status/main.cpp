// k905-status: the state of printers, for operators, scripts and monitors.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "apps/base/program.h"
#include "apps/base/text.h"
#include "apps/status/show_state.h"

namespace k905 {

namespace {

constexpr int kExitNoOutput = 2;

struct Options {
  std::vector<std::string> printers{"/dev/usb/lp0"};
  double watch_seconds = 0;
  double limit_seconds = 0;
  bool json = false;
  bool metrics = false;
  bool wait_ready = false;
};

// CLI::Range accepts "nan", which is neither below nor above a limit.
CLI::Validator seconds_between(double min, double max) {
  const auto check = [min, max](const std::string& text) -> std::string {
    char* end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    if (!text.empty() && *end == '\0' && seconds >= min && seconds <= max) {
      return "";
    }
    char limits[64];
    std::snprintf(limits, sizeof limits, "' is not a number from %g to %.0f", min, max);
    return "'" + text + limits;
  };
  return {check, ""};
}

void describe_options(CLI::App& app, Options& options) {
  app.add_option("PRINTER", options.printers,
                 "device file, serial number, HOST:PORT, queue or class; several give a table")
      ->capture_default_str();
  auto* json = app.add_flag("-j,--json", options.json, "print a line of JSON for each printer");
  app.add_flag("-m,--metrics", options.metrics, "print metrics in the text format of Prometheus")
      ->excludes(json);
  app.add_option("-w,--watch", options.watch_seconds, "ask repeatedly, at this interval in seconds")
      ->check(seconds_between(0.1, 86400));
  auto* wait = app.add_flag("--wait-ready", options.wait_ready,
                            "wait until all printers are ready, then report");
  app.add_option("--timeout", options.limit_seconds,
                 "with --wait-ready: stop waiting after this many seconds")
      ->needs(wait)
      ->check(seconds_between(0, 31536000));
  app.footer(
      "Exit status, the highest of all printers: 0 ready or busy, 1 needs attention, or busy when "
      "--timeout ends, 2 not reachable, 3 in use by the print system or another program. With "
      "--metrics: 0. Wrong usage and output that cannot be written: 2.");
}

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

// False after an error, which is reported.
bool show(const CLI::App& app, const std::vector<PrinterState>& printers, const Options& options) {
  const std::string text = options.metrics ? as_metrics(printers)
                           : options.json  ? as_json(printers)
                                           : as_text(printers);
  // Scripts that only need the exit status may close standard output.
  if ((std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0) || errno == EBADF) {
    return true;
  }
  print_message(app, std::string("standard output cannot be written: ") + std::strerror(errno));
  return false;
}

int exit_status_of(const std::vector<PrinterState>& printers, const Options& options) {
  int status = 0;
  for (const PrinterState& printer : printers) {
    status = std::max(status, names_of(printer.state).exit_status);
  }
  return options.metrics ? 0 : status;
}

int show_with_status(const CLI::App& app, const std::vector<PrinterState>& printers,
                     const Options& options) {
  return show(app, printers, options) ? exit_status_of(printers, options) : kExitNoOutput;
}

int watch(const CLI::App& app, const Options& options) {
  while (show(app, ask_printers(options.printers), options)) {
    std::this_thread::sleep_for(Seconds(options.watch_seconds));
  }
  return kExitNoOutput;
}

// Why printers are not ready, in one line; empty if all are ready.
std::string reasons_to_wait(const std::vector<PrinterState>& printers) {
  std::string reasons;
  for (const PrinterState& printer : printers) {
    if (printer.state != State::ready) {
      append_to_list(reasons,
                     (printers.size() > 1 ? printer.device + ": " : "") + explanation_of(printer),
                     "; ");
    }
  }
  return reasons;
}

int wait_until_ready(const CLI::App& app, const Options& options) {
  const Seconds pause(options.watch_seconds > 0 ? options.watch_seconds : 5);
  const Clock::time_point begin = Clock::now();
  std::string reported;
  for (;;) {
    const std::vector<PrinterState> printers = ask_printers(options.printers);
    const std::string reasons = reasons_to_wait(printers);
    const Seconds waited = Clock::now() - begin;
    const Seconds rest =
        options.limit_seconds > 0 ? Seconds(options.limit_seconds) - waited : pause;
    if (reasons.empty() || rest <= Seconds(0)) {
      const int status = show_with_status(app, printers, options);
      // A busy printer needs no operator, but it is not ready either.
      return reasons.empty() ? status : std::max(1, status);
    }
    if (reasons != reported) {
      reported = reasons;
      print_message(app, "waiting: " + reasons);
    }
    std::this_thread::sleep_for(std::min(pause, rest));
  }
}

int run(const CLI::App& app, const Options& options) {
  if (options.wait_ready) {
    return wait_until_ready(app, options);
  }
  if (options.watch_seconds > 0) {
    return watch(app, options);
  }
  return show_with_status(app, ask_printers(options.printers), options);
}

int status_program(int argc, char** argv) {
  CLI::App app("Shows the state of K905, RV-40, RV-40W and RS-30 printers.", "k905-status");
  Options options;
  describe_options(app, options);
  const auto status = parse_command_line(app, argc, argv);
  return status ? *status : run(app, options);
}

}  // namespace

}  // namespace k905

int main(int argc, char** argv) {
  return guarded_main("k905-status", k905::status_program, argc, argv);
}
