#include "apps/base/program.h"

#include <cstdio>
#include <exception>
#include <new>

#include "apps/base/process_start.h"

std::optional<int> parse_command_line(CLI::App& app, int argc, char** argv) {
  app.set_version_flag("--version", app.get_name() + " " K905_VERSION);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& asked_for_text) {
    return app.exit(asked_for_text);
  } catch (const CLI::ParseError& error) {
    return wrong_usage(app, error.what());
  }
  return std::nullopt;
}

void complain(const CLI::App& app, const std::string& message) {
  std::fprintf(stderr, "%s: %s\n", app.get_name().c_str(), message.c_str());
}

int wrong_usage(const CLI::App& app, const std::string& message) {
  complain(app, message);
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
