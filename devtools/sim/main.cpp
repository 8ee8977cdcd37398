// k905-sim: a printer without paper. Answers questions and takes jobs on a pseudo-terminal and,
// when asked, on a port of the loopback interface.
#include <map>

#include "apps/base/program.h"
#include "devtools/sim/simulator.h"
#include "devtools/sim/state_file.h"

namespace {

struct Arguments {
  std::map<std::string, std::string> fields;  // state fields given as options, by key
  std::string state_file;
  std::string fault;
  std::string fault_on;
  int delay_ms = 400;
  std::string sheets;
  bool canvas = false;
  std::optional<std::uint16_t> port;
};

void declare_options(CLI::App& app, Arguments& arguments) {
  for (const StateField& field : state_fields()) {
    app.add_option_function<std::string>(
        std::string("--") + field.key,
        [&arguments, &field](const std::string& text) { arguments.fields[field.key] = text; },
        field.help);
  }
  app.add_option("--state", arguments.state_file,
                 "File of lines \"key = value\" with the fields above: read before every answer, "
                 "brought up to date after every sheet");
  app.add_option("--fault", arguments.fault,
                 "Misbehave: silent, slow, split, cut, long, garbage or busy");
  app.add_option("--fault-on", arguments.fault_on,
                 "Misbehave at one question only, for instance STATUS or MQTY");
  app.add_option("--delay", arguments.delay_ms, "Pause of slow, split and busy in milliseconds")
      ->check(CLI::Range(0, 60000))
      ->capture_default_str();
  auto* sheets =
      app.add_option("--sheets", arguments.sheets, "Folder that keeps a PNG of every sheet");
  app.add_flag("--canvas", arguments.canvas,
               "Keep every pixel of a sheet, with the margins beyond the paper's edges")
      ->needs(sheets);
  app.add_option("--listen", arguments.port,
                 "Take jobs on this port of 127.0.0.1 as well; 0 takes a free one");
}

// What is wrong with the arguments, or null when `options` holds them.
std::optional<std::string> take_arguments(const Arguments& arguments, SimulatorOptions& options) {
  if (!arguments.state_file.empty()) {
    if (auto wrong = load_state(arguments.state_file, options.state)) {
      return wrong;
    }
  }
  for (const auto& [key, text] : arguments.fields) {
    if (const auto wrong = set_field(options.state, *find_state_field(key), text)) {
      return "--" + key + ": " + *wrong;
    }
  }
  if (!arguments.fault.empty()) {
    const std::optional<FaultKind> kind = fault_named(arguments.fault);
    if (!kind) {
      return "--fault: '" + arguments.fault +
             "' is none of silent, slow, split, cut, long, garbage, busy";
    }
    options.fault.kind = *kind;
  }
  options.fault.question = arguments.fault_on;
  options.fault.pause = std::chrono::milliseconds(arguments.delay_ms);
  options.state_file = arguments.state_file;
  options.sheets = arguments.sheets;
  options.canvas = arguments.canvas;
  options.port = arguments.port;
  return std::nullopt;
}

int run(const CLI::App& app, const SimulatorOptions& options) {
  if (!options.state_file.empty()) {
    if (const auto wrong = save_state(options.state_file, options.state)) {
      report_error(app, *wrong);
      return kExitFailed;
    }
  }
  std::string error;
  if (!run_simulator(options, error)) {
    report_error(app, error);
    return kExitFailed;
  }
  return 0;
}

int simulator_program(int argc, char** argv) {
  CLI::App app{"A simulated printer on a pseudo-terminal, whose path is the first line written",
               "k905-sim"};
  Arguments arguments;
  declare_options(app, arguments);
  if (const std::optional<int> status = parse_command_line(app, argc, argv)) {
    return *status;
  }
  SimulatorOptions options;
  if (const auto wrong = take_arguments(arguments, options)) {
    return wrong_usage(app, *wrong);
  }
  return run(app, options);
}

}  // namespace

int main(int argc, char** argv) { return guarded_main("k905-sim", simulator_program, argc, argv); }
