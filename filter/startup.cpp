#include "filter/startup.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "diag/log.h"
#include "settings/option_values.h"
#include "settings/print_options.h"

void log_start(int argc, char** argv) {
  log_line("=== rastertok905 start ===");
  log_line("K905-1: Process ID: %d", static_cast<int>(getpid()));
  log_line("K905-1: Program called with %d arguments", argc);
  log_line("K905-1: Command line arguments:");
  for (int i = 0; i < argc; ++i) {
    log_line("  [%d]: %s", i, argv[i]);
  }
}

void take_ribbon_from_environment() {
  const char* ribbon = std::getenv("K905_RIBBON");
  if (ribbon != nullptr && (std::strcmp(ribbon, "6x4") == 0 || std::strcmp(ribbon, "6x8") == 0)) {
    copy_text(current_options.ribbon_size, ribbon);
    current_options.ribbon_detected = 1;
  }
}

void detect_ribbon() {
  // Deliberate: no colon after "K905-1" in the two DEBUG lines; people search logs for them.
  if (current_options.ribbon_detected != 0) {
    log_line("K905-1 DEBUG: Already detected ribbon");
    return;
  }
  log_line("K905-1 DEBUG: Starting ribbon detection");
  // Deliberate: the printer is never asked. With the default "6x4" pages are never paired; a user
  // or program that knows the ribbon sets K905_RIBBON.
  copy_text(current_options.ribbon_size, "6x4");
  current_options.ribbon_detected = 1;
  // Deliberate: the line says "macOS" on every system; people search logs for it.
  log_line("K905-1: macOS: using default ribbon size 6x4 (no USB scan)");
}
