#include "apps/base/program.h"

#include <cstdio>
#include <exception>
#include <new>
#include <vector>

#include "apps/base/process_start.h"
#include "apps/base/text.h"

namespace {

std::string known_options(const CLI::App& app) {
  std::string names;
  for (const CLI::Option* option : app.get_options()) {
    if (!option->get_positional()) {
      append_to_list(names, option->get_name());
    }
  }
  return names;
}

// The error for an unknown option lists the known ones.
std::string explain(const CLI::App& app, const CLI::ExtrasError& error) {
  const std::vector<std::string> surplus = app.remaining();
  if (surplus.empty() || !surplus.front().starts_with('-')) {
    return error.what();
  }
  return "unknown option " + surplus.front() + "; known options: " + known_options(app);
}

}  // namespace

std::optional<int> parse_command_line(CLI::App& app, int argc, char** argv) {
  app.set_version_flag("--version", app.get_name() + " " K905_VERSION);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help_or_version) {
    return app.exit(help_or_version);
  } catch (const CLI::ExtrasError& error) {
    return wrong_usage(app, explain(app, error));
  } catch (const CLI::ParseError& error) {
    return wrong_usage(app, error.what());
  }
  return std::nullopt;
}

void print_message(const CLI::App& app, const std::string& message) {
  std::fprintf(stderr, "%s: %s\n", app.get_name().c_str(), message.c_str());
}

int wrong_usage(const CLI::App& app, const std::string& message) {
  print_message(app, message);
  std::fprintf(stderr, "Run with --help for more information.\n");
  return kExitUsage;
}

int guarded_main(const char* program, int (*body)(int, char**), int argc, char** argv) noexcept {
  start_process();
  try {
    return body(argc, argv);
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "%s: not enough memory\n", program);
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "%s: %s\n", program, problem.what());
  }
  return kExitFailed;
}
