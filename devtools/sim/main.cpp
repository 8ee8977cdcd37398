// k905-sim: simulates a printer. Answers questions and accepts jobs on a pseudo-terminal and,
// optionally, on a port of the loopback interface.
#include <cstdint>
#include <map>

#include "apps/base/program.h"
#include "devtools/sim/simulator.h"
#include "devtools/sim/state_file.h"

namespace {

constexpr int kMaxPrinters = 99;

struct Arguments {
  DeviceOptions device;                       // of each printer, without its number
  std::map<std::string, std::string> fields;  // state fields from options, by key
  std::string fault;
  int delay_ms = 400;
  int printers = 1;
  int print_time_ms = 0;
  std::uint32_t rate_kib = 0;
  bool reads_commands = false;
};

void declare_printer_options(CLI::App& app, Arguments& arguments) {
  for (const StateField& field : state_fields()) {
    app.add_option_function<std::string>(
        std::string("--") + field.key,
        [&arguments, &field](const std::string& text) { arguments.fields[field.key] = text; },
        field.help);
  }
  app.add_option("--state", arguments.device.printer.state_file,
                 "file of lines \"key = value\" with the fields above: read before every reply, "
                 "written after every sheet");
  app.add_option("--fault", arguments.fault,
                 "fault to simulate: silent, slow, split, cut, long, garbage or busy");
  app.add_option("--fault-on", arguments.device.printer.fault.question,
                 "limit the fault to one question, such as STATUS or MQTY");
  app.add_option("--delay", arguments.delay_ms, "pause of slow, split and busy in milliseconds")
      ->check(CLI::Range(0, 60000))
      ->capture_default_str();
  app.add_option("--print-time", arguments.print_time_ms,
                 "milliseconds from the beginning of the printing of a sheet until it is counted")
      ->check(CLI::Range(0, 600000))
      ->capture_default_str();
  app.add_flag(
      "--keep-buffers", arguments.device.printer.keeps_sheets,
      "when the printer stops, print the sheets in its buffers later instead of losing them");
  auto* sheets = app.add_option("--sheets", arguments.device.printer.sheets,
                                "folder for a PNG image of every sheet");
  app.add_flag("--canvas", arguments.device.printer.canvas,
               "with --sheets: save every pixel, including the margins outside the paper")
      ->needs(sheets);
}

void declare_line_options(CLI::App& app, Arguments& arguments) {
  app.add_option("--listen", arguments.device.port,
                 "also accept jobs on this port of 127.0.0.1; 0 selects a free one");
  app.add_option("--link", arguments.device.link, "symbolic link to the terminal");
  app.add_option("--rate", arguments.rate_kib, "accept at most this many KiB per second")
      ->check(CLI::Range(1U, 1U << 20));
  app.add_option(
         "--printers", arguments.printers,
         "number of printers, on consecutive ports; if there are several, printer N has the "
         "serial number SERIAL-N, the folder SHEETS/N, the file STATE.N and the link LINK.N")
      ->check(CLI::Range(1, kMaxPrinters))
      ->capture_default_str();
  app.add_flag("--trace", arguments.device.printer.traces,
               "report every question with its reply, and the beginning of every sheet");
  app.add_flag("--commands", arguments.reads_commands,
               "read commands from standard input, see below");
}

std::string commands_help() {
  std::string text = "Commands, preceded by the number of the printer if it is not 1:\n";
  for (const CommandUsage& usage : command_usages()) {
    text += "  " + std::string(usage.text) + "\n      " + usage.meaning + "\n";
  }
  return text;
}

// The fill_ functions return the error in the arguments, or null after filling their last
// parameter.
std::optional<std::string> fill_fault(const Arguments& arguments, Fault& fault) {
  if (!arguments.fault.empty()) {
    const std::optional<FaultKind> kind = fault_named(arguments.fault);
    if (!kind) {
      return "--fault: '" + arguments.fault +
             "' is not one of silent, slow, split, cut, long, garbage, busy";
    }
    fault.kind = *kind;
  }
  fault.pause = std::chrono::milliseconds(arguments.delay_ms);
  return std::nullopt;
}

// If there are several printers, each has its own names.
std::string numbered(const std::string& name, const std::string& separator, int number) {
  return name.empty() || number == 0 ? name : name + separator + std::to_string(number);
}

// `index`: 0 for the first printer.
std::optional<std::string> fill_device(const Arguments& arguments, int index,
                                       DeviceOptions& device) {
  const int number = arguments.printers > 1 ? index + 1 : 0;
  device = arguments.device;
  PrinterOptions& printer = device.printer;
  printer.state_file = numbered(printer.state_file, ".", number);
  printer.state.serial = numbered(printer.state.serial, "-", number);
  if (auto problem = load_state(printer.state_file, printer.state)) {
    return problem;
  }
  for (const auto& [key, text] : arguments.fields) {
    const std::string own = key == "serial" ? numbered(text, "-", number) : text;
    if (const auto problem = set_field(printer.state, *find_state_field(key), own)) {
      return "--" + key + ": " + *problem;
    }
  }
  if (auto problem = fill_fault(arguments, printer.fault)) {
    return problem;
  }
  printer.sheets = numbered(printer.sheets, "/", number);
  printer.print_time = std::chrono::milliseconds(arguments.print_time_ms);
  if (number > 0) {
    printer.label = "printer " + std::to_string(number) + ": ";
  }
  if (device.port && *device.port != 0) {
    const int port = *device.port + index;
    if (port > UINT16_MAX) {
      return "--listen: too high for " + std::to_string(arguments.printers) +
             " consecutive ports: " + std::to_string(*device.port);
    }
    device.port = static_cast<std::uint16_t>(port);
  }
  device.link = numbered(device.link, ".", number);
  device.bytes_per_second = std::uint64_t{arguments.rate_kib} * 1024;
  return std::nullopt;
}

std::optional<std::string> fill_options(const Arguments& arguments, SimulatorOptions& options) {
  for (int index = 0; index < arguments.printers; ++index) {
    options.devices.emplace_back();
    if (auto problem = fill_device(arguments, index, options.devices.back())) {
      return problem;
    }
  }
  options.reads_commands = arguments.reads_commands;
  return std::nullopt;
}

int run(const CLI::App& app, const SimulatorOptions& options) {
  for (const DeviceOptions& device : options.devices) {
    if (const auto problem = save_state(device.printer.state_file, device.printer.state)) {
      print_message(app, *problem);
      return kExitFailed;
    }
  }
  std::string error;
  if (!run_simulator(options, error)) {
    print_message(app, error);
    return kExitFailed;
  }
  return 0;
}

int simulator_program(int argc, char** argv) {
  CLI::App app{
      "Simulates a printer on a pseudo-terminal, and prints the path of the terminal on the first "
      "line.",
      "k905-sim"};
  Arguments arguments;
  declare_printer_options(app, arguments);
  declare_line_options(app, arguments);
  app.footer(commands_help());
  if (const std::optional<int> status = parse_command_line(app, argc, argv)) {
    return *status;
  }
  SimulatorOptions options;
  if (const auto problem = fill_options(arguments, options)) {
    return wrong_usage(app, *problem);
  }
  return run(app, options);
}

}  // namespace

int main(int argc, char** argv) { return guarded_main("k905-sim", simulator_program, argc, argv); }
